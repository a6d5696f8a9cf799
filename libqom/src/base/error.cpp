#include "base/error.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace qom {
namespace {

thread_local char reason[512];

}  // namespace

void set_error(const char *format, ...) {
  const int saved = errno;
  va_list args;
  va_start(args, format);
  (void)std::vsnprintf(reason, sizeof reason, format, args);
  va_end(args);
  errno = saved;
}

void set_system_error(const char *format, ...) {
  const int saved = errno;
  va_list args;
  va_start(args, format);
  (void)std::vsnprintf(reason, sizeof reason, format, args);
  va_end(args);
  const size_t used = std::strlen(reason);
  char text[128];
  (void)std::snprintf(reason + used, sizeof reason - used, ": %s",
                      strerror_r(saved, text, sizeof text));
  errno = saved;
}

const char *last_error() {
  return reason;
}

}  // namespace qom
