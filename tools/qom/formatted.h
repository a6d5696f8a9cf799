// Short texts by a printf(3) format.
#pragma once

#include <string>

namespace qomtool {

// Numbers with what stands around them; what is longer than 127 bytes is cut off.
[[gnu::format(printf, 1, 2)]] std::string formatted(const char *format, ...);

}  // namespace qomtool
