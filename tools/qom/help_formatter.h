// How help is laid out on the terminal.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace qomtool {

// Fits into 100 columns.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_help(const CLI::App *app, std::string name,
                        CLI::AppFormatMode mode) const override;
};

}  // namespace qomtool
