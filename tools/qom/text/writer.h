// The text form of a recording, written. docs/text.md describes the form.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include <vector>

#include "qom/qom.h"

namespace qomtool {

// Writes a recording as text to a stream, a piece at a time; whether the stream took it, the
// stream's owner asks it. A text read back by TextParser gives the same header and records.
class TextWriter {
 public:
  // Writes the header lines. Both are borrowed and must outlive the writer.
  TextWriter(std::FILE *out, const QomHeader &header);
  ~TextWriter();
  TextWriter(const TextWriter &) = delete;
  TextWriter &operator=(const TextWriter &) = delete;

  // Writes a record; its time must not lie below the last one's. False, with nothing written, when
  // its pixels cannot be decoded; qom_reader_error() has the reason.
  bool record(const QomRecord *record);
  // A stretch that was not recorded.
  void gap(const QomGap &gap);
  // Film that was held back.
  void film_area(const QomFilmArea &area);
  void checkpoint_begin() { out_ += "checkpoint-begin\n"; }
  void checkpoint_end() { out_ += "checkpoint-end\n"; }
  // A line that readers pass over; control characters in `text` are escaped.
  void comment(std::string_view text);

  void flush();

 private:
  void stretch(std::string_view keyword, uint64_t begin, uint64_t end);
  void header_lines(const QomHeader &header, std::string_view indent);
  void palette_entry(const RgbValue &entry);
  void header_record(const QomHeader &header);
  bool fields(const QomRecord *record);
  // Of compressed pixels, their areas that are lossy; otherwise none.
  bool image(const QomImage *image, const std::vector<QomRectangle> &lossy = {});
  bool blocks(const QomImageBlocks *blocks, const std::vector<QomRectangle> &lossy = {});
  void lossy_area(const QomRectangle &area);
  void copies(const QomCopyArea &area);
  void cursor_image(const QomCursorImage &cursor);
  void rectangle(const QomImage &image);
  void pixels(const struct PixelRows &rows, std::string_view indent);
  void row(const struct PixelRows &rows, uint32_t y);
  void flush_if_long();

  void size(uint32_t width, uint32_t height);
  void point(int x, int y);
  void hexadecimal(uint32_t value, uint32_t digits);

  std::FILE *file_;
  const QomHeader &header_;
  uint64_t time_;  // of the last record
  std::string out_;
};

}  // namespace qomtool
