#include "arguments.h"

#include <charconv>
#include <cmath>

#include "text/quote.h"

namespace qomtool {
namespace {

template <typename Number>
bool read(const std::string &text, Number &number) {
  const char *end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && rest == end;
}

}  // namespace

std::string check_recording_name(const std::string &name) {
  if (name != "-") return "";
  return "a recording is a file, never a pipe (./- is one of that name)";
}

std::optional<size_t> whole_number(const std::string &text) {
  size_t number = 0;
  if (!read(text, number)) return std::nullopt;
  return number;
}

std::optional<double> decimal(const std::string &text) {
  double number = 0;
  if (!read(text, number) || !std::isfinite(number)) return std::nullopt;
  return number;
}

}  // namespace qomtool
