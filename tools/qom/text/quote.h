// Texts between quotation marks, safe to show on a terminal and exact to read back.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qomtool {

// The text between quotation marks. Quotation marks and backslashes get a backslash; line feed,
// carriage return and tab become \n, \r and \t; every other byte that could steer a terminal or is
// not valid UTF-8 becomes \xHH: control characters, marks that turn the writing direction, broken
// sequences. What is left is printed as it is.
std::string quoted(std::string_view text);

// The same without the quotation marks around it.
std::string escaped(std::string_view text);

// A text for people with only that made harmless which could steer a terminal or is not valid
// UTF-8: it becomes \xHH. What the text holds between quotation marks already stays as it is.
std::string printable(std::string_view text);

// The name of a file for a message: between quotation marks unless it is plain to see where it
// ends.
std::string quoted_name(const std::string &name);

// A text of a record: quoted, or "-" when it is absent (null).
std::string quoted_or_absent(const char *text);

// The inverse of quoted(): `text` begins with a quotation mark; *used becomes the number of bytes
// up to and with the closing one. Nothing, with the reason in *why, when the text has no end, holds
// an unknown escape, or a zero byte, which no record can hold.
std::optional<std::string> unquoted(std::string_view text, size_t *used, std::string *why);

}  // namespace qomtool
