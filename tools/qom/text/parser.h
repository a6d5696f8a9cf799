// The text form of a recording, read. docs/text.md describes the form.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "qom/qom.h"
#include "records.h"
#include "text/header_parser.h"
#include "text/lines.h"
#include "text/pixels.h"

namespace qomtool {

// Reads a text from its start to its end and holds one record at a time. Every function throws
// TextError for a mistake in the text, and std::bad_alloc.
class TextParser {
 public:
  enum class Item { record, gap, film_area, checkpoint_begin, checkpoint_end, end };

  explicit TextParser(std::FILE *text);  // borrowed
  ~TextParser() = default;
  TextParser(const TextParser &) = delete;
  TextParser &operator=(const TextParser &) = delete;

  // The recording's header, read by the constructor; lives as long as the parser.
  const QomHeader &header() const { return head_.header; }
  unsigned long header_line() const { return header_line_; }  // the last one

  // Reads on to the next record or mark.
  Item next();

  // The record that next() found; lives until the next call.
  const QomRecord *record() const { return compressed_ ? compressed_.get() : &record_.head; }
  // The gap that next() found; its number of records is not filled in.
  const QomGap &gap() const { return gap_; }
  // The same for film that was held back.
  const QomFilmArea &film_area() const { return film_area_; }
  // The line that it began at.
  unsigned long line() const { return item_line_; }

  uint64_t bytes_read() const { return lines_.bytes_read(); }

 private:
  union AnyRecord {
    QomRecord head;
    QomHeader header;
    QomImage image;
    QomCursorImage cursor;
    QomCursorPosition position;
    QomScreenChange screen;
    QomLastInput input;
    QomFooterItem footer;
    QomImageBlocks blocks;
    QomCopyArea copied;
  };

  Words words() const { return Words(lines_.line(), lines_.number()); }
  void require_line(const char *what);

  void parse_head();
  bool parse_head_line();
  void parse_header_record();

  uint64_t parse_time(Words &words, uint64_t before) const;
  void parse_gap(Words &words);
  void parse_film_area(Words &words);
  void parse_record(QomRecordType type, Words &words);
  void parse_image(Words &words);
  void parse_lossy_area(Words &words);
  void parse_blocks();
  void parse_copies();
  void parse_cursor_image(Words &words);
  void compress(QomRecordType type);

  // Adds a zeroed picture of the size to data_ and returns its rows, which are valid until data_
  // grows again.
  PixelRows add_rows(Words &words, Size size, uint32_t bytes_per_pixel, uint32_t stride);
  PixelRows add_image_rows(Words &words, Size size);
  enum class Content { screen, cursor };
  void parse_pixels(Words &words, const PixelRows &rows, Content content);
  uint32_t parse_pixel(Words &words, const PixelRows &rows, Content content);
  void parse_rows(const PixelRows &rows);

  char *keep(std::optional<std::string> &place, std::optional<std::string> text);

  Lines lines_;
  HeaderParser head_;
  unsigned long header_line_ = 0;  // of the last header line
  bool start_seen_ = false;

  uint64_t time_ = 0;  // of the last record
  unsigned long item_line_ = 0;
  AnyRecord record_{};
  QomGap gap_{};
  QomFilmArea film_area_{};
  HeaderParser record_header_;
  RecordPtr compressed_;  // stands for record_ when the record is a compressed one
  std::vector<uint8_t> data_;
  std::vector<QomCopy> copies_;
  std::vector<QomRectangle> lossy_;  // areas of the record, on the screen
  std::optional<std::string> texts_[2];
};

}  // namespace qomtool
