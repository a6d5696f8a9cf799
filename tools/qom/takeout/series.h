// Names of files that are numbered.
#pragma once

#include <cstdint>
#include <string>

namespace qomtool {

// A name with one place for a number, %d or %03d; %% stands for a percent sign.
class Series {
 public:
  explicit Series(const std::string &pattern);  // a good one

  std::string name(uint64_t number) const;

  static bool is_good(const std::string &pattern);

 private:
  std::string before_;
  std::string behind_;
  size_t digits_ = 0;  // at least
};

}  // namespace qomtool
