#include "compound_text.h"

#include <iconv.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>

namespace qom::record {
namespace {

constexpr char escape = '\x1b';
constexpr std::string_view replacement = "\xef\xbf\xbd";  // U+FFFD

// A character set of which one half of the byte values can stand for.
struct Charset {
  std::string_view designation;  // what follows the escape, without the half it goes to
  const char *name;              // of an encoding of iconv's that has it
  bool high;                     // that encoding has its bytes in the upper half
};

constexpr Charset sets[] = {
    {"B", "ASCII", false},       {"J", "JIS_X0201", false},   {"I", "JIS_X0201", true},
    {"-A", "ISO-8859-1", true},  {"-B", "ISO-8859-2", true},  {"-C", "ISO-8859-3", true},
    {"-D", "ISO-8859-4", true},  {"-F", "ISO-8859-7", true},  {"-G", "ISO-8859-6", true},
    {"-H", "ISO-8859-8", true},  {"-L", "ISO-8859-5", true},  {"-M", "ISO-8859-9", true},
    {"-T", "ISO-8859-11", true}, {"-V", "ISO-8859-10", true}, {"-Y", "ISO-8859-13", true},
    {"-_", "ISO-8859-14", true}, {"-b", "ISO-8859-15", true}, {"-f", "ISO-8859-16", true},
    {"$A", "EUC-CN", true},      {"$B", "EUC-JP", true},      {"$C", "EUC-KR", true},
    {"$G", "EUC-TW", true},
};

// Encodings of extended segments, as X and as the C library calls them. No others: a segment names
// what it likes, and not every converter of the library is safe with bytes of a stranger's.
constexpr std::array<std::string_view, 2> extended[] = {{"iso8859-14", "ISO-8859-14"},
                                                        {"iso8859-15", "ISO-8859-15"},
                                                        {"iso8859-16", "ISO-8859-16"},
                                                        {"koi8-r", "KOI8-R"},
                                                        {"koi8-u", "KOI8-U"},
                                                        {"big5-0", "BIG5"},
                                                        {"gbk-0", "GBK"},
                                                        {"microsoft-cp1251", "CP1251"}};

const Charset *find_set(std::string_view designation) {
  const auto *found = std::find_if(std::begin(sets), std::end(sets), [&](const Charset &set) {
    return set.designation == designation;
  });
  return found == std::end(sets) ? nullptr : found;
}

// Bytes of an encoding as UTF-8, up to the first that is none of its characters.
std::string converted(std::string bytes, const char *encoding) {
  iconv_t converter = iconv_open("UTF-8", encoding);
  if (reinterpret_cast<intptr_t>(converter) == -1) return std::string(replacement);
  std::string utf8(bytes.size() * 4, '\0');
  char *from = bytes.data();
  char *to = utf8.data();
  size_t left = bytes.size();
  size_t room = utf8.size();
  const bool failed = iconv(converter, &from, &left, &to, &room) == static_cast<size_t>(-1);
  const bool wrong = failed && errno == EILSEQ;
  iconv_close(converter);
  utf8.resize(utf8.size() - room);
  return wrong ? utf8 + std::string(replacement) : utf8;
}

class Decoder {
 public:
  explicit Decoder(std::string_view text) : rest_(text) {}
  std::string decode();

 private:
  bool take(std::string_view prefix);
  void switch_sets();
  void take_extended();
  void take_characters();

  std::string_view rest_;
  const Charset *low_ = find_set("B");  // of bytes below 128; null for one that is not known
  const Charset *high_ = find_set("-A");
  std::string utf8_;
};

bool Decoder::take(std::string_view prefix) {
  if (!rest_.starts_with(prefix)) return false;
  rest_.remove_prefix(prefix.size());
  return true;
}

std::string Decoder::decode() {
  while (!rest_.empty()) {
    if (take("\x1b%G")) {
      const size_t end = rest_.find("\x1b%@");
      utf8_ += rest_.substr(0, end);
      rest_.remove_prefix(std::min(end, rest_.size()));
    } else if (take("\x1b%@")) {
      continue;
    } else if (take("\x1b%/")) {
      take_extended();
    } else if (rest_[0] == escape) {
      rest_.remove_prefix(1);
      switch_sets();
    } else if (rest_[0] == '\x9b') {  // the direction of writing
      rest_.remove_prefix(std::min(rest_.find(']'), rest_.size() - 1) + 1);
    } else {
      take_characters();
    }
  }
  return utf8_;
}

// "(B" and the like: sets of 94 characters for either half, "-A" of 96 for the upper one, "$(B" of
// two bytes a character.
void Decoder::switch_sets() {
  std::string designation;
  if (take("$")) designation = "$";
  if (rest_.size() < 2) {
    rest_ = {};
    return;
  }
  const char half = rest_[0];
  if (half == '-') designation = "-";
  designation += rest_[1];
  rest_.remove_prefix(2);
  (half == '(' ? low_ : high_) = find_set(designation);
}

// The number of bytes a character, the length, the name of an encoding, STX, and the characters.
void Decoder::take_extended() {
  if (rest_.size() < 3) {
    rest_ = {};
    return;
  }
  const size_t length = (static_cast<unsigned char>(rest_[1]) & 0x7fu) * 128 +
                        (static_cast<unsigned char>(rest_[2]) & 0x7fu);
  const std::string_view segment = rest_.substr(3, length);
  rest_.remove_prefix(3 + segment.size());
  const size_t stx = segment.find('\x02');
  if (stx == std::string_view::npos) return;
  for (const auto &[name, encoding] : extended) {
    if (name != segment.substr(0, stx)) continue;
    utf8_ += converted(std::string(segment.substr(stx + 1)), encoding.data());
    return;
  }
  utf8_ += replacement;
}

// Characters of one half, up to an escape or the other half.
void Decoder::take_characters() {
  const auto is_high = [](char c) { return static_cast<unsigned char>(c) >= 0x80; };
  const bool high = is_high(rest_[0]);
  const auto *end = std::find_if(rest_.begin(), rest_.end(), [&](char c) {
    return c == escape || c == '\x9b' || is_high(c) != high;
  });
  std::string bytes(rest_.begin(), end);
  rest_.remove_prefix(bytes.size());
  const Charset *set = high ? high_ : low_;
  if (!set) {
    utf8_ += replacement;
    return;
  }
  for (char &c : bytes) {
    // Blanks and ends of lines are none of a set's.
    if (static_cast<unsigned char>(c) > ' ') {
      c = static_cast<char>((c & 0x7f) | (set->high ? 0x80 : 0));
    }
  }
  utf8_ += converted(bytes, set->name);
}

}  // namespace

std::string utf8_of_compound_text(std::string_view text) {
  return Decoder(text).decode();
}

}  // namespace qom::record
