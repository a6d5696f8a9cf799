#include "text/quote.h"

#include <cstdint>
#include <cstdio>

namespace qomtool {
namespace {

struct Sequence {
  size_t length;       // bytes; 0 when they are not valid UTF-8
  uint32_t character;  // code point
};

// One UTF-8 sequence as RFC 3629 has it: shortest form, no surrogates, up to U+10FFFF.
Sequence sequence_at(std::string_view text, size_t at) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[at + i]); };
  const unsigned char head = byte(0);
  if (head < 0x80) return {1, head};
  const size_t length = head >= 0xf0 ? 4 : head >= 0xe0 ? 3 : 2;
  if (head < 0xc2 || head > 0xf4 || text.size() - at < length) return {0, 0};
  uint32_t character = head & (0x7fu >> length);
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xc0) != 0x80) return {0, 0};
    character = character << 6 | (byte(i) & 0x3f);
  }
  static constexpr uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = character >= 0xd800 && character <= 0xdfff;
  if (character < smallest[length] || surrogate || character > 0x10ffff) return {0, 0};
  return {length, character};
}

// Control characters of both sets, line separators, and the invisible marks that reorder text.
bool steers_terminal(uint32_t c) {
  return c < 0x20 || (c >= 0x7f && c < 0xa0) || c == 0x61c || (c >= 0x200b && c <= 0x200f) ||
         (c >= 0x2028 && c <= 0x202e) || (c >= 0x2060 && c <= 0x206f) || c == 0xfeff ||
         (c >= 0xe0000 && c <= 0xe0fff);
}

void append_bytes(std::string &out, std::string_view bytes) {
  for (char c : bytes) {
    char text[5];
    std::snprintf(text, sizeof text, "\\x%02x", static_cast<unsigned>(static_cast<uint8_t>(c)));
    out += text;
  }
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
  for (size_t at = 0; at < text.size();) {
    const Sequence sequence = sequence_at(text, at);
    const size_t length = sequence.length ? sequence.length : 1;
    const std::string_view bytes = text.substr(at, length);
    at += length;
    if (bytes == "\n")
      out += "\\n";
    else if (bytes == "\r")
      out += "\\r";
    else if (bytes == "\t")
      out += "\\t";
    else if (bytes == "\"" || bytes == "\\")
      (out += '\\') += bytes;
    else if (!sequence.length || steers_terminal(sequence.character))
      append_bytes(out, bytes);
    else
      out += bytes;
  }
  return out;
}

std::string quoted(std::string_view text) {
  return '"' + escaped(text) + '"';
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
