#include "arguments.h"

#include <charconv>
#include <cmath>
#include <sstream>

#include "text/quote.h"

namespace qomtool {
namespace {

constexpr size_t kColumns = 100;

template <typename Number>
bool read(const std::string &text, Number &number) {
  const char *end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && rest == end;
}

// Appends the line, cut at blanks; what follows a cut begins in the column `indent`.
void append_wrapped(std::string &out, std::string line, size_t indent) {
  while (line.size() > kColumns) {
    const size_t blank = line.rfind(' ', kColumns);
    if (blank == std::string::npos || blank <= indent) break;
    out.append(line, 0, blank) += '\n';
    line.replace(0, blank + 1, std::string(indent, ' '));
  }
  (out += line) += '\n';
}

}  // namespace

std::string check_recording_name(const std::string &name) {
  if (name != "-") return "";
  return "a recording is a file, never a pipe (./- is one of that name)";
}

std::string check_count(const std::string &text) {
  uint64_t number = 0;
  return read(text, number) ? "" : qomtool::quoted(text) + " is not a whole number, 0 or more";
}

std::optional<double> decimal(const std::string &text) {
  double number = 0;
  if (!read(text, number) || !std::isfinite(number)) return std::nullopt;
  return number;
}

std::string HelpFormatter::make_help(const CLI::App *app, std::string name,
                                     CLI::AppFormatMode mode) const {
  std::istringstream help(CLI::Formatter::make_help(app, std::move(name), mode));
  std::string out;
  for (std::string line; std::getline(help, line);) {
    // Options and subcommands are indented; what they are is told in a column of its own.
    append_wrapped(out, line, line.starts_with(' ') ? get_column_width() : 0);
  }
  return out;
}

}  // namespace qomtool
