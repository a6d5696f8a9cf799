#include "property_text.h"

#include "compound_text.h"

namespace qom::record {
namespace {

constexpr std::string_view replacement = "\xef\xbf\xbd";  // U+FFFD
constexpr size_t incomplete = static_cast<size_t>(-1);

bool is_within(unsigned char byte, int least, int most) {
  return byte >= least && byte <= most;
}

// Bytes of the character at the front; 0 when it is none, `incomplete` when the text ends within.
size_t character_length(std::string_view text) {
  const auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return 1;
  const size_t length = is_within(lead, 0xc2, 0xdf)   ? 2
                        : is_within(lead, 0xe0, 0xef) ? 3
                        : is_within(lead, 0xf0, 0xf4) ? 4
                                                      : 0;
  for (size_t i = 1; i < length; i++) {
    if (i == text.size()) return incomplete;
    // Neither forms longer than need be, nor surrogates, nor numbers that are no characters.
    const bool first = i == 1;
    const int least = first && lead == 0xe0 ? 0xa0 : first && lead == 0xf0 ? 0x90 : 0x80;
    const int most = first && lead == 0xed ? 0x9f : first && lead == 0xf4 ? 0x8f : 0xbf;
    if (!is_within(byte(i), least, most)) return 0;
  }
  return length;
}

std::string clean_utf8(std::string_view text, bool cut) {
  std::string clean;
  while (!text.empty()) {
    const size_t length = character_length(text);
    if (length == incomplete && cut) break;
    const bool good = length > 0 && length != incomplete;
    clean += good ? text.substr(0, length) : replacement;
    text.remove_prefix(good ? length : 1);
  }
  return clean;
}

bool is_utf8(std::string_view text, bool cut) {
  while (!text.empty()) {
    const size_t length = character_length(text);
    if (length == incomplete) return cut;
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

std::string utf8_of_latin1(std::string_view latin1) {
  std::string utf8;
  for (const char c : latin1) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      utf8 += c;
    } else {
      utf8 += static_cast<char>(0xc0 | byte >> 6);
      utf8 += static_cast<char>(0x80 | (byte & 0x3f));
    }
  }
  return utf8;
}

}  // namespace

std::string utf8_of(std::string_view bytes, TextEncoding encoding, bool cut) {
  switch (encoding) {
    case TextEncoding::utf8:
      return clean_utf8(bytes, cut);
    case TextEncoding::compound:
      return clean_utf8(utf8_of_compound_text(bytes), true);
    default:
      // What is valid UTF-8 beyond ASCII is hardly ever meant as Latin-1.
      return is_utf8(bytes, cut) ? clean_utf8(bytes, cut) : utf8_of_latin1(bytes);
  }
}

}  // namespace qom::record
