#include "text/quote.h"

#include <cstdint>

#include "base/terminal_text.h"
#include "formatted.h"

namespace qomtool {

using qom::first_piece;
using qom::TextPiece;

namespace {

void append_bytes(std::string &out, std::string_view bytes) {
  for (char c : bytes) out += formatted("\\x%02x", static_cast<uint8_t>(c));
}

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The byte behind a backslash at `at`, which moves past the escape; -1 for an unknown one.
int unescaped(std::string_view text, size_t &at) {
  if (at + 1 >= text.size()) return -1;
  const char kind = text[at + 1];
  if (kind == 'x') {
    if (at + 3 >= text.size()) return -1;
    const int high = hex_digit(text[at + 2]), low = hex_digit(text[at + 3]);
    at += 4;
    return high < 0 || low < 0 ? -1 : high * 16 + low;
  }
  at += 2;
  switch (kind) {
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 't':
      return '\t';
    case '"':
      return '"';
    case '\\':
      return '\\';
    default:
      return -1;
  }
}

}  // namespace

std::string escaped(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const TextPiece piece = first_piece(text);
    const std::string_view bytes = text.substr(0, piece.length);
    text.remove_prefix(piece.length);
    if (bytes == "\n")
      out += "\\n";
    else if (bytes == "\r")
      out += "\\r";
    else if (bytes == "\t")
      out += "\\t";
    else if (bytes == "\"" || bytes == "\\")
      (out += '\\') += bytes;
    else if (piece.printable)
      out += bytes;
    else
      append_bytes(out, bytes);
  }
  return out;
}

std::string quoted(std::string_view text) {
  return '"' + escaped(text) + '"';
}

std::string printable(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    const TextPiece piece = first_piece(text);
    const std::string_view bytes = text.substr(0, piece.length);
    text.remove_prefix(piece.length);
    if (piece.printable)
      out += bytes;
    else
      append_bytes(out, bytes);
  }
  return out;
}

std::string quoted_name(const std::string &name) {
  const bool plain =
      !name.empty() && name.find_first_of(" :'") == std::string::npos && escaped(name) == name;
  return plain ? name : quoted(name);
}

std::string quoted_or_absent(const char *text) {
  return text ? quoted(text) : "-";
}

std::optional<std::string> unquoted(std::string_view text, size_t *used, std::string *why) {
  std::string out;
  size_t at = 1;
  while (at < text.size() && text[at] != '"') {
    if (text[at] != '\\') {
      out += text[at++];
      continue;
    }
    const size_t start = at;
    const int byte = unescaped(text, at);
    if (byte < 0) {
      *why = "unknown escape \\" + escaped(text.substr(start + 1, 1)) +
             " in a text (\\n \\r \\t \\\" \\\\ \\xHH are known)";
      return std::nullopt;
    }
    if (byte == 0) {
      *why = "a text cannot hold a zero byte";
      return std::nullopt;
    }
    out += static_cast<char>(byte);
  }
  if (at >= text.size()) {
    *why = "the closing quotation mark is missing";
    return std::nullopt;
  }
  *used = at + 1;
  return out;
}

}  // namespace qomtool
