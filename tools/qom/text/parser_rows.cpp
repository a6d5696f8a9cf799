#include "counted.h"
#include "text/parser.h"

namespace qomtool {
namespace {

// Steps through one line of hexadecimal pixels.
class RowCursor {
 public:
  RowCursor(std::string_view line, unsigned long number) : line_(line), number_(number) {}

  // The next `count` digits as one number; blanks before them are passed over.
  uint32_t digits(uint32_t count, const char *what) {
    skip_blanks();
    uint32_t value = 0;
    for (uint32_t i = 0; i < count; ++i) {
      const int digit = at_ < line_.size() ? hexadecimal_digit(line_[at_]) : -1;
      if (digit < 0) fail(std::string(what) + " takes " + std::to_string(count) + " digits");
      value = value << 4 | static_cast<uint32_t>(digit);
      ++at_;
    }
    return value;
  }

  bool skip(char c) {
    skip_blanks();
    if (at_ == line_.size() || line_[at_] != c) return false;
    ++at_;
    return true;
  }

  bool at_end() {
    skip_blanks();
    return at_ == line_.size() || line_[at_] == '#' || line_[at_] == '|';
  }

  [[noreturn]] void fail(const std::string &what) const { throw TextError(number_, what); }

 private:
  void skip_blanks() {
    while (at_ < line_.size() && (line_[at_] == ' ' || line_[at_] == '\t')) ++at_;
  }

  std::string_view line_;
  unsigned long number_;
  size_t at_ = 0;
};

void check_pixels(const RowCursor &cursor, bool fits, uint32_t wanted) {
  if (!fits) cursor.fail("the row does not have " + counted(wanted, "pixel"));
}

void check_padding(const RowCursor &cursor, bool fits, uint32_t wanted) {
  if (!fits) cursor.fail("the row does not have " + counted(wanted, "byte") + " of padding");
}

}  // namespace

void TextParser::parse_rows(const PixelRows &rows) {
  const uint32_t padding = rows.stride - rows.row_bytes();
  for (uint32_t y = 0; y < rows.height; ++y) {
    require_line("a row of pixels");
    RowCursor cursor(lines_.line(), lines_.number());
    uint8_t *at = rows.row(y);
    for (uint32_t x = 0; x < rows.width; ++x, at += rows.bytes_per_pixel) {
      check_pixels(cursor, !cursor.at_end(), rows.width);
      store_pixel(at, rows.bytes_per_pixel, cursor.digits(rows.bytes_per_pixel * 2, "a pixel"));
    }
    check_pixels(cursor, cursor.at_end(), rows.width);
    if (!cursor.skip('|')) continue;
    for (uint32_t i = 0; i < padding; ++i) {
      check_padding(cursor, !cursor.at_end(), padding);
      *at++ = static_cast<uint8_t>(cursor.digits(2, "a byte of padding"));
    }
    check_padding(cursor, cursor.at_end() && !cursor.skip('|'), padding);
  }
}

}  // namespace qomtool
