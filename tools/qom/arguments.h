// Which arguments are refused, for every subcommand.
#pragma once

#include <optional>
#include <string>

namespace qomtool {

// What is wrong with a name, or nothing. A recording is read and written at any place of its file,
// which "-" has nothing of.
std::string check_recording_name(const std::string &name);

// A whole number in decimal digits.
std::optional<size_t> whole_number(const std::string &text);

// A number in decimal digits, with decimals or without; not hexadecimal, infinite or none.
std::optional<double> decimal(const std::string &text);

}  // namespace qomtool
