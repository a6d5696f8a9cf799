// Why the last call failed, in words; one text per thread.
#pragma once

namespace qom {

// Stores the reason (printf format, no trailing period). Leaves errno alone.
void set_error(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Stores the reason followed by ": " and the system's text for errno.
void set_system_error(const char *format, ...) __attribute__((format(printf, 1, 2)));

const char *last_error();

}  // namespace qom

// For bytes that are not as they should be: stores the reason and sets errno to 0.
#define QOM_REFUSE(result, ...) (::qom::set_error(__VA_ARGS__), errno = 0, (result))

// For what a caller gives that cannot be: stores the reason and sets errno to EINVAL.
#define QOM_INVALID(result, ...) (::qom::set_error(__VA_ARGS__), errno = EINVAL, (result))
