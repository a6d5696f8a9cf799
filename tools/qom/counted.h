// Numbers of things in words.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qomtool {

// "1 record" and "2 records" of ("record"), "1 record was" and "0 records were" of ("record was",
// "records were"): without `several`, an s is added.
inline std::string counted(uint64_t count, std::string_view one, std::string_view several = {}) {
  std::string text = std::to_string(count) + ' ';
  if (count == 1) return text.append(one);
  return several.empty() ? text.append(one) + 's' : text.append(several);
}

}  // namespace qomtool
