// The lines of a text and the words of a line.
#pragma once

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace qomtool {

// A mistake in a text, at a line counted from 1; 0 when the text itself could not be read.
class TextError : public std::runtime_error {
 public:
  TextError(unsigned long line, const std::string &what) : std::runtime_error(what), line_(line) {}
  unsigned long line() const { return line_; }

 private:
  unsigned long line_;
};

// Reads a text line by line through a buffer of its own; a line is at most kMaxLine bytes.
class Lines {
 public:
  static constexpr size_t kMaxLine = size_t{16} * 1024 * 1024;

  explicit Lines(std::FILE *file);  // borrowed

  // The next line that holds more than blanks and a comment, without its end; it stays valid until
  // the next call. False at the end of the text. Throws TextError.
  bool next();
  // Makes the next call of next() give the current line again.
  void again() { again_ = true; }

  std::string_view line() const { return line_; }
  unsigned long number() const { return number_; }
  uint64_t bytes_read() const { return bytes_read_; }

 private:
  bool read_line();
  bool refill();

  std::FILE *file_;
  std::vector<char> buffer_;
  size_t at_ = 0;
  size_t end_ = 0;
  std::string line_;
  unsigned long number_ = 0;
  uint64_t bytes_read_ = 0;
  bool again_ = false;
};

struct Size {
  uint16_t width, height;
};
struct Point {
  int16_t x, y;
};

// Steps through the words of one line. Words are separated by blanks; a word that begins with #
// ends the line. Every function takes what it is looking for, as an error would name it ("a time").
class Words {
 public:
  Words(std::string_view line, unsigned long number) : rest_(line), number_(number) {}

  bool at_end();
  // Throws when there is no further word.
  std::string_view word(const char *what);
  // A quoted text, or nothing for "-".
  std::optional<std::string> text(const char *what);
  // The word must be exactly this one.
  void expect(std::string_view keyword);
  // Throws when anything is left on the line.
  void finish();

  template <typename Number>
  Number number(const char *what, Number least, Number most) {
    return parse(word(what), what, least, most);
  }
  uint32_t hexadecimal(const char *what, size_t digits);
  Size size(uint16_t least, uint16_t most);  // WIDTHxHEIGHT
  Point point(const char *what);             // X,Y

  template <typename Number>
  Number parse(std::string_view word, const char *what, Number least, Number most) const {
    Number value{};
    const char *end = word.data() + word.size();
    auto [rest, error] = std::from_chars(word.data(), end, value);
    if (error == std::errc::invalid_argument || rest != end) fail_word(what, word);
    if (error != std::errc() || value < least || value > most) {
      fail(std::string(what) + " is outside " + std::to_string(least) + " to " +
           std::to_string(most));
    }
    return value;
  }

  [[noreturn]] void fail(const std::string &what) const { throw TextError(number_, what); }
  // "expected WHAT, found WORD"
  [[noreturn]] void fail_word(const char *what, std::string_view word) const;

 private:
  std::string_view rest_;
  unsigned long number_;
};

// The digit's value, or -1.
int hexadecimal_digit(char c);

}  // namespace qomtool
