#include "series.h"

#include <regex>

namespace qomtool {
namespace {

constexpr size_t kLongest = 4096;  // bytes of a name

bool match(const std::string &pattern, std::smatch *parts) {
  static const std::regex good(R"(((?:[^%]|%%)*)%(?:0?(\d))?d((?:[^%]|%%)*))");
  return pattern.size() <= kLongest && std::regex_match(pattern, *parts, good);
}

std::string literal(const std::string &text) {
  return std::regex_replace(text, std::regex("%%"), "%");
}

}  // namespace

bool Series::is_good(const std::string &pattern) {
  std::smatch parts;
  return match(pattern, &parts);
}

Series::Series(const std::string &pattern) {
  std::smatch parts;
  match(pattern, &parts);
  before_ = literal(parts[1]);
  behind_ = literal(parts[3]);
  if (parts[2].matched) digits_ = static_cast<size_t>(*parts[2].first - '0');
}

std::string Series::name(uint64_t number) const {
  const std::string digits = std::to_string(number);
  const size_t zeros = digits_ > digits.size() ? digits_ - digits.size() : 0;
  return before_ + std::string(zeros, '0') + digits + behind_;
}

}  // namespace qomtool
