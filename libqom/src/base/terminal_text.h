// Which bytes of a text may be shown on a terminal as they are: what the library prints and what
// the programs do agree.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace qom {

// The characters of a text, from its beginning on.
struct TextPiece {
  size_t length;   // bytes, at least 1
  bool printable;  // a character in valid UTF-8 that does not steer a terminal
};

// Control characters of both sets, line separators, and the invisible marks that reorder text.
inline bool steers_terminal(uint32_t c) {
  return c < 0x20 || (c >= 0x7f && c < 0xa0) || c == 0x61c || (c >= 0x200b && c <= 0x200f) ||
         (c >= 0x2028 && c <= 0x202e) || (c >= 0x2060 && c <= 0x206f) || c == 0xfeff ||
         (c >= 0xe0000 && c <= 0xe0fff);
}

// The first piece of a text that is not empty: one character, or one byte that belongs to none.
// UTF-8 is that of RFC 3629: shortest forms, no surrogates, up to U+10FFFF.
inline TextPiece first_piece(std::string_view text) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char head = byte(0);
  if (head < 0x80) return {1, !steers_terminal(head)};
  const size_t length = head >= 0xf0 ? 4 : head >= 0xe0 ? 3 : 2;
  if (head < 0xc2 || head > 0xf4 || text.size() < length) return {1, false};
  uint32_t character = head & (0x7fu >> length);
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xc0) != 0x80) return {1, false};
    character = character << 6 | (byte(i) & 0x3f);
  }
  constexpr uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = character >= 0xd800 && character <= 0xdfff;
  if (character < smallest[length] || surrogate || character > 0x10ffff) return {1, false};
  return {length, !steers_terminal(character)};
}

}  // namespace qom
