// What the arguments of every subcommand have in common: which are refused, and how help is shown.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

namespace qomtool {

// For the command line: each gives an empty text for a good argument, otherwise what is wrong.

// A recording is read and written at any place of its file, which "-" has nothing of.
std::string check_recording_name(const std::string &name);

// A whole number in decimal digits.
std::string check_count(const std::string &text);

// A number in decimal digits, with decimals or without; not hexadecimal, infinite or none.
std::optional<double> decimal(const std::string &text);

// Help that fits into 100 columns.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_help(const CLI::App *app, std::string name,
                        CLI::AppFormatMode mode) const override;
};

}  // namespace qomtool
