#include "printable.h"

#include <cstdint>

namespace {

struct Sequence {
  int length;         /* bytes; 1 with no character when they are not UTF-8 */
  uint32_t character; /* code point; 0 for none */
};

/* The sequence at `text`, which is not at its end, as RFC 3629 has them: shortest form, no
   surrogates, up to U+10FFFF. The zero byte at the end of the text continues nothing. */
Sequence sequence_at(const unsigned char *text) {
  static constexpr Sequence kNone{1, 0};
  const unsigned char head = text[0];
  if (head < 0x80) return {1, head};
  if (head < 0xc2 || head > 0xf4) return kNone;
  const int length = head >= 0xf0 ? 4 : head >= 0xe0 ? 3 : 2;
  uint32_t character = head & (0x7fU >> length);
  for (int i = 1; i < length; ++i) {
    if ((text[i] & 0xc0) != 0x80) return kNone;
    character = character << 6 | (text[i] & 0x3fU);
  }
  static constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = character >= 0xd800 && character <= 0xdfff;
  if (character < kSmallest[length] || surrogate || character > 0x10ffff) return kNone;
  return {length, character};
}

bool is_printable(uint32_t c) {
  const bool control = c < 0x20 || (c >= 0x7f && c < 0xa0);
  const bool separator = c == 0x2028 || c == 0x2029;
  const bool mark = c == 0x61c || (c >= 0x200b && c <= 0x200f) || (c >= 0x202a && c <= 0x202e) ||
                    (c >= 0x2060 && c <= 0x206f) || c == 0xfeff || (c >= 0xe0000 && c <= 0xe0fff);
  return !control && !separator && !mark;
}

}  // namespace

PrintableText::PrintableText(const char *text) {
  Tcl_DStringInit(&text_);
  const auto *at = reinterpret_cast<const unsigned char *>(text);
  while (*at) {
    const Sequence sequence = sequence_at(at);
    const auto *end = at + sequence.length;
    if (is_printable(sequence.character)) {
      Tcl_DStringAppend(&text_, reinterpret_cast<const char *>(at), sequence.length);
      at = end;
    }
    for (; at < end; ++at) {
      static constexpr char kDigits[] = "0123456789abcdef";
      const char number[] = {'\\', 'x', kDigits[*at >> 4], kDigits[*at & 15]};
      Tcl_DStringAppend(&text_, number, sizeof number);
    }
  }
}
