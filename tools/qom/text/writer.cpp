#include "text/writer.h"

#include <algorithm>

#include "clock.h"
#include "gaps.h"
#include "records.h"
#include "text/pixels.h"
#include "text/quote.h"

namespace qomtool {
namespace {

constexpr size_t kFlushSize = size_t{64} * 1024;

PixelRows rows_of(const QomImage &image) {
  return {image.data, image.width, image.height, image.bytes_per_line,
          static_cast<uint32_t>(pixel_format_bytes_per_pixel(image.pixel_format))};
}

// Writes the digits and returns the place behind them.
char *put_hexadecimal(char *at, uint32_t value, uint32_t digits) {
  static constexpr char kDigits[] = "0123456789abcdef";
  for (uint32_t i = digits; i-- > 0;) *at++ = kDigits[value >> (4 * i) & 0xf];
  return at;
}

}  // namespace

TextWriter::TextWriter(std::FILE *out, const QomHeader &header)
    : file_(out), header_(header), time_(header.timestamp) {
  out_ += "qom-text 1\n";
  (out_ += "start ") += seconds_text(header_.timestamp) += '\n';
  if (header_.version > 1) (out_ += "version ") += std::to_string(header_.version) += '\n';
  header_lines(header_, "");
  out_ += '\n';
}

TextWriter::~TextWriter() {
  flush();
}

void TextWriter::flush() {
  (void)std::fwrite(out_.data(), 1, out_.size(), file_);
  out_.clear();
}

void TextWriter::flush_if_long() {
  if (out_.size() >= kFlushSize) flush();
}

void TextWriter::size(uint32_t width, uint32_t height) {
  ((out_ += ' ') += std::to_string(width) += 'x') += std::to_string(height);
}

void TextWriter::point(int x, int y) {
  ((out_ += ' ') += std::to_string(x) += ',') += std::to_string(y);
}

void TextWriter::hexadecimal(uint32_t value, uint32_t digits) {
  char text[8];
  out_.append(text, put_hexadecimal(text, value, digits));
}

void TextWriter::comment(std::string_view text) {
  (out_ += "# ") += escaped(text) += '\n';
}

void TextWriter::stretch(std::string_view keyword, uint64_t begin, uint64_t end) {
  (out_ += keyword) += ' ';
  out_ += begin >= time_ ? '+' + seconds_text(begin - time_) : seconds_text(begin);
  (out_ += " +") += seconds_text(end - begin);
}

void TextWriter::film_area(const QomFilmArea &area) {
  stretch("film", area.begin, area.end);
  size(area.width, area.height);
  point(area.x, area.y);
  (out_ += ' ') += std::to_string(area.rate);
  (out_ += ' ') += std::to_string(area.quality);
  out_ += '\n';
}

void TextWriter::gap(const QomGap &gap) {
  stretch("gap", gap.begin, gap.end);
  (out_ += ' ') += gap_reason(gap.reason);
  const auto offset = static_cast<uint64_t>(gap.clock_offset);
  if (gap.clock_offset > 0) (out_ += ' ') += seconds_text(offset);
  if (gap.clock_offset < 0) (out_ += " -") += seconds_text(0 - offset);
  out_ += '\n';
}

void TextWriter::header_lines(const QomHeader &header, std::string_view indent) {
  const auto line = [&](std::string_view keyword) -> std::string & {
    return (out_ += indent) += keyword;
  };
  line("screen");
  size(header.width, header.height);
  (out_ += '\n');
  (line("depth ") += std::to_string(header.depth)) += '\n';
  (line("format ") += pixel_format_string(header.pixel_format)) += '\n';
  (line("pad ") += std::to_string(header.scanline_pad)) += '\n';
  (line("keycodes ") += std::to_string(header.min_keycode)) += ' ';
  (out_ += std::to_string(header.max_keycode)) += '\n';
  (line("user ") += quoted_or_absent(header.user)) += '\n';
  (line("tfn ") += quoted_or_absent(header.tfn)) += '\n';
  for (uint32_t i = 0; i < header.palette_size; ++i) {
    line("palette");
    palette_entry(header.palette[i]);
  }
}

void TextWriter::palette_entry(const RgbValue &entry) {
  for (uint16_t value : {entry.red, entry.green, entry.blue}) {
    out_ += ' ';
    hexadecimal(value, 4);
  }
  if (entry.pad) {
    out_ += ' ';
    hexadecimal(entry.pad, 4);
  }
  out_ += '\n';
}

bool TextWriter::record(const QomRecord *record) {
  const size_t start = out_.size();
  const uint64_t time = std::max(record->timestamp, time_);
  out_ += record_name(static_cast<QomRecordType>(record->type));
  (out_ += " +") += seconds_text(time - time_);
  if (!fields(record)) {
    out_.resize(start);
    return false;
  }
  time_ = time;
  flush_if_long();
  return true;
}

bool TextWriter::fields(const QomRecord *record) {
  switch (record->type) {
    case QOM_IMAGE:
      return image(&as<QomImage>(record));
    case QOM_COMPRESSED_IMAGE:
      return image(ImagePtr(qom_image_uncompress(&as<QomCompressedImage>(record))).get(),
                   lossy_areas(record));
    case QOM_IMAGE_BLOCKS:
      return blocks(&as<QomImageBlocks>(record));
    case QOM_COMPRESSED_IMAGE_BLOCKS:
      return blocks(
          BlocksPtr(qom_image_blocks_uncompress(&as<QomCompressedImageBlocks>(record))).get(),
          lossy_areas(record));
    case QOM_HEADER:
      header_record(as<QomHeader>(record));
      return true;
    case QOM_CURSOR_IMAGE:
      cursor_image(as<QomCursorImage>(record));
      return true;
    case QOM_COPY_AREA:
      copies(as<QomCopyArea>(record));
      return true;
    case QOM_CURSOR_POSITION:
      point(as<QomCursorPosition>(record).x, as<QomCursorPosition>(record).y);
      break;
    case QOM_SCREEN_CHANGE:
      size(as<QomScreenChange>(record).width, as<QomScreenChange>(record).height);
      break;
    case QOM_LAST_INPUT:
      (out_ += ' ') += quoted_or_absent(as<QomLastInput>(record).user);
      (out_ += ' ') += quoted_or_absent(as<QomLastInput>(record).tfn);
      break;
    case QOM_DONE:
    case QOM_DEBUG:
      break;
    default:
      (out_ += ' ') += quoted_or_absent(as<QomFooterItem>(record).item);
  }
  out_ += '\n';
  return true;
}

void TextWriter::header_record(const QomHeader &header) {
  (out_ += "\n  version ") += std::to_string(header.version) += '\n';
  header_lines(header, "  ");
  out_ += "end\n";
}

void TextWriter::lossy_area(const QomRectangle &area) {
  out_ += " lossy";
  size(static_cast<uint32_t>(area.width), static_cast<uint32_t>(area.height));
  point(area.x, area.y);
}

bool TextWriter::image(const QomImage *image, const std::vector<QomRectangle> &lossy) {
  if (!image) return false;
  rectangle(*image);
  for (const QomRectangle &area : lossy) lossy_area(area);
  pixels(rows_of(*image), "  ");
  return true;
}

bool TextWriter::blocks(const QomImageBlocks *blocks, const std::vector<QomRectangle> &lossy) {
  if (!blocks) return false;
  QomImage image;
  size_t offset = 0;
  int found;
  // A walk ahead, since blocks that overrun their record have no text.
  while ((found = qom_image_blocks_next(blocks, &header_, &offset, &image)) == 1) continue;
  if (found != 0) return false;
  out_ += '\n';
  for (const QomRectangle &area : lossy) {
    out_ += ' ';
    lossy_area(area);
    out_ += '\n';
  }
  offset = 0;
  while (qom_image_blocks_next(blocks, &header_, &offset, &image) == 1) {
    out_ += "  block";
    rectangle(image);
    pixels(rows_of(image), "    ");
  }
  out_ += "end\n";
  return true;
}

void TextWriter::copies(const QomCopyArea &area) {
  out_ += '\n';
  for (uint32_t i = 0; i < area.count; ++i) {
    const QomCopy &copy = area.copies[i];
    out_ += "  copy";
    size(copy.width, copy.height);
    point(copy.x, copy.y);
    out_ += " to";
    point(copy.to_x, copy.to_y);
    out_ += '\n';
    flush_if_long();
  }
  out_ += "end\n";
}

void TextWriter::cursor_image(const QomCursorImage &cursor) {
  size(cursor.width, cursor.height);
  point(cursor.x, cursor.y);
  out_ += " hot";
  point(cursor.xhot, cursor.yhot);
  (out_ += " serial ") += std::to_string(cursor.cursor_serial);
  pixels({cursor.data, cursor.width, cursor.height, cursor.width * 4u, 4}, "  ");
}

void TextWriter::rectangle(const QomImage &image) {
  size(image.width, image.height);
  point(image.x, image.y);
}

void TextWriter::pixels(const PixelRows &rows, std::string_view indent) {
  if (const std::optional<uint32_t> pixel = single_pixel(rows)) {
    out_ += " fill ";
    hexadecimal(*pixel, rows.bytes_per_pixel * 2);
    out_ += '\n';
    flush_if_long();
    return;
  }
  out_ += " rows\n";
  for (uint32_t y = 0; y < rows.height; ++y) {
    out_ += indent;
    row(rows, y);
    flush_if_long();
  }
}

void TextWriter::row(const PixelRows &rows, uint32_t y) {
  const uint32_t digits = rows.bytes_per_pixel * 2;
  const uint8_t *at = rows.row(y);
  // Pictures are nearly all of a text: their digits go straight into its buffer.
  const size_t start = out_.size();
  out_.resize(start + size_t{rows.width} * (digits + 1));
  char *digit = out_.data() + start;
  for (uint32_t x = 0; x < rows.width; ++x, at += rows.bytes_per_pixel) {
    digit = put_hexadecimal(digit, load_pixel(at, rows.bytes_per_pixel), digits);
    *digit++ = ' ';
  }
  out_.pop_back();
  const uint8_t *end = rows.row(y) + rows.stride;
  if (std::any_of(at, end, [](uint8_t byte) { return byte != 0; })) {
    for (out_ += " |"; at < end; ++at) {
      out_ += ' ';
      hexadecimal(*at, 2);
    }
  }
  out_ += '\n';
}

}  // namespace qomtool
