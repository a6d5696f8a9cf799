// A file that lives in memory, for inputs that the library opens by name.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fuzz {

// The one file of this process; each call replaces what it holds. Returns its name.
const char *memory_file(const uint8_t *data, size_t size);

// Ends the process with a report.
[[noreturn]] void broken(const char *promise);

// Ends it when a promise of the library does not hold.
inline void require(bool holds, const char *promise) {
  if (!holds) broken(promise);
}

}  // namespace fuzz
