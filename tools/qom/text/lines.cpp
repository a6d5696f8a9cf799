#include "text/lines.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <limits>

#include "text/quote.h"

namespace qomtool {
namespace {

constexpr size_t kBufferSize = size_t{64} * 1024;
constexpr size_t kShownLength = 40;  // bytes of a wrong word that an error repeats

bool is_blank(char c) {
  return c == ' ' || c == '\t';
}

void skip_blanks(std::string_view &text) {
  size_t blanks = 0;
  while (blanks < text.size() && is_blank(text[blanks])) ++blanks;
  text.remove_prefix(blanks);
}

constexpr auto kHexadecimalDigits = [] {
  std::array<int8_t, 256> digits{};
  digits.fill(-1);
  for (size_t i = 0; i < 10; ++i) digits['0' + i] = int8_t(i);
  for (size_t i = 0; i < 6; ++i) digits['a' + i] = digits['A' + i] = int8_t(10 + i);
  return digits;
}();

}  // namespace

int hexadecimal_digit(char c) {
  return kHexadecimalDigits[static_cast<unsigned char>(c)];
}

Lines::Lines(std::FILE *file) : file_(file), buffer_(kBufferSize) {}

bool Lines::refill() {
  at_ = 0;
  end_ = std::fread(buffer_.data(), 1, buffer_.size(), file_);
  bytes_read_ += end_;
  if (end_ == 0 && std::ferror(file_)) throw TextError(0, std::strerror(errno));
  return end_ > 0;
}

bool Lines::read_line() {
  line_.clear();
  bool any = false;
  while (at_ < end_ || refill()) {
    any = true;
    const char *start = buffer_.data() + at_;
    const auto *stop = static_cast<const char *>(std::memchr(start, '\n', end_ - at_));
    const size_t length = stop ? static_cast<size_t>(stop - start) : end_ - at_;
    if (line_.size() + length > kMaxLine) throw TextError(number_ + 1, "the line is too long");
    line_.append(start, length);
    at_ += length + (stop ? 1 : 0);
    if (stop) break;
  }
  if (!any) return false;
  ++number_;
  if (!line_.empty() && line_.back() == '\r') line_.pop_back();
  return true;
}

bool Lines::next() {
  if (again_) {
    again_ = false;
    return true;
  }
  while (read_line()) {
    if (!Words(line_, number_).at_end()) return true;
  }
  return false;
}

bool Words::at_end() {
  skip_blanks(rest_);
  return rest_.empty() || rest_.front() == '#';
}

std::string_view Words::word(const char *what) {
  if (at_end()) fail(std::string("expected ") + what + ", found the end of the line");
  size_t length = 0;
  while (length < rest_.size() && !is_blank(rest_[length])) ++length;
  const std::string_view word = rest_.substr(0, length);
  rest_.remove_prefix(length);
  return word;
}

std::optional<std::string> Words::text(const char *what) {
  if (at_end() || rest_.front() != '"') {
    const std::string_view found = word(what);
    if (found != "-") fail_word(what, found);
    return std::nullopt;
  }
  size_t used = 0;
  std::string why;
  std::optional<std::string> text = unquoted(rest_, &used, &why);
  if (!text) fail(why);
  rest_.remove_prefix(used);
  if (!rest_.empty() && !is_blank(rest_.front())) fail("a blank must follow a quoted text");
  return text;
}

void Words::expect(std::string_view keyword) {
  const std::string what = '"' + std::string(keyword) + '"';
  const std::string_view found = word(what.c_str());
  if (found != keyword) fail_word(what.c_str(), found);
}

void Words::finish() {
  if (!at_end()) fail_word("the end of the line", word(""));
}

uint32_t Words::hexadecimal(const char *what, size_t digits) {
  const std::string_view found = word(what);
  uint32_t value = 0;
  for (char c : found) {
    const int digit = hexadecimal_digit(c);
    if (digit < 0) fail_word(what, found);
    value = value << 4 | static_cast<uint32_t>(digit);
  }
  if (found.size() != digits) {
    fail(std::string(what) + " takes " + std::to_string(digits) + " hexadecimal digits");
  }
  return value;
}

Size Words::size(uint16_t least, uint16_t most) {
  const std::string_view found = word("a size, WIDTHxHEIGHT");
  const size_t cross = found.find('x');
  if (cross == std::string_view::npos) fail_word("a size, WIDTHxHEIGHT", found);
  return {parse(found.substr(0, cross), "a width", least, most),
          parse(found.substr(cross + 1), "a height", least, most)};
}

Point Words::point(const char *what) {
  const std::string_view found = word(what);
  const size_t comma = found.find(',');
  if (comma == std::string_view::npos) fail_word(what, found);
  using Limits = std::numeric_limits<int16_t>;
  return {parse(found.substr(0, comma), "x", Limits::min(), Limits::max()),
          parse(found.substr(comma + 1), "y", Limits::min(), Limits::max())};
}

void Words::fail_word(const char *what, std::string_view word) const {
  std::string shown = escaped(word.substr(0, kShownLength));
  if (word.size() > kShownLength) shown += "...";
  fail(std::string("expected ") + what + ", found \"" + shown + '"');
}

}  // namespace qomtool
