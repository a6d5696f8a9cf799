#include "help_formatter.h"

#include <sstream>

namespace qomtool {
namespace {

constexpr size_t kColumns = 100;

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
