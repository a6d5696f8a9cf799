#include "formatted.h"

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdio>

namespace qomtool {

std::string formatted(const char *format, ...) {
  char text[128];
  va_list values;
  va_start(values, format);
  const int length = std::vsnprintf(text, sizeof text, format, values);
  va_end(values);
  const auto whole = static_cast<size_t>(std::max(length, 0));
  return std::string(text, std::min(whole, sizeof text - 1));
}

}  // namespace qomtool
