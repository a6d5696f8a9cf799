#include "text/parser.h"

#include <limits>

#include "clock.h"
#include "gaps.h"
#include "qom/writer.h"

namespace qomtool {
namespace {

constexpr unsigned kFormVersion = 1;
constexpr uint32_t kBlockHead = 8;  // bytes of a block before its pixels
constexpr uint32_t kCursorPixel = 4;

uint8_t bits_per_pixel(const QomHeader &header) {
  return static_cast<uint8_t>(pixel_format_bytes_per_pixel(header.pixel_format) * 8);
}

}  // namespace

TextParser::TextParser(std::FILE *text) : lines_(text) {
  parse_head();
}

void TextParser::require_line(const char *what) {
  if (!lines_.next()) {
    throw TextError(lines_.number() + 1, std::string("the text ends where ") + what + " should be");
  }
}

char *TextParser::keep(std::optional<std::string> &place, std::optional<std::string> text) {
  place = std::move(text);
  return place ? place->data() : nullptr;
}

void TextParser::parse_head() {
  require_line("the first line, \"qom-text 1\",");
  Words words = this->words();
  words.expect("qom-text");
  const unsigned version =
      words.number<unsigned>("a version", 1, std::numeric_limits<unsigned>::max());
  if (version != kFormVersion) {
    words.fail("version " + std::to_string(version) + " of the text form is not known, only " +
               std::to_string(kFormVersion));
  }
  words.finish();
  header_line_ = lines_.number();
  while (lines_.next() && parse_head_line()) header_line_ = lines_.number();
  head_.finish(header_line_);
}

// False, with the line kept for next(), when it does not belong to the header.
bool TextParser::parse_head_line() {
  Words words = this->words();
  const std::string_view keyword = words.word("");
  if (keyword == "start") {
    if (start_seen_) words.fail("a second start line");
    start_seen_ = true;
    time_ = head_.header.timestamp = parse_time(words, time_);
    words.finish();
    return true;
  }
  if (!head_.take(keyword, words)) {
    lines_.again();
    return false;
  }
  if (head_.header.version != 1 && head_.header.version != 2) words.fail("a version is 1 or 2");
  return true;
}

void TextParser::parse_header_record() {
  record_header_.reset();
  for (;;) {
    require_line("a header line or \"end\"");
    Words words = this->words();
    const std::string_view keyword = words.word("");
    if (keyword == "end") {
      words.finish();
      break;
    }
    if (!record_header_.take(keyword, words)) words.fail_word("a header line or \"end\"", keyword);
  }
  record_header_.finish(lines_.number());
  record_header_.header.timestamp = time_;
  record_.header = record_header_.header;
}

// Absolute seconds, a UTC date and time with a Z, or +seconds after the time before.
uint64_t TextParser::parse_time(Words &words, uint64_t before) const {
  std::string_view word = words.word("a time");
  std::optional<uint64_t> time;
  if (word.starts_with('+')) {
    time = parse_seconds(word.substr(1));
    if (time) *time += before;
  } else if (word.ends_with('Z')) {
    time = parse_clock(word.substr(0, word.size() - 1), Zone::utc);
  } else {
    time = parse_seconds(word);
  }
  if (!time) words.fail_word("a time (12.5, +0.04 or 2026-11-22T21:33:05.5Z)", word);
  if (*time > QOM_MAX_TIME) words.fail("the time is above the largest one a recording can hold");
  return *time;
}

void TextParser::parse_gap(Words &words) {
  gap_ = {};
  gap_.begin = parse_time(words, time_);
  gap_.end = parse_time(words, gap_.begin);
  const std::string_view reason = words.word("a reason");
  const std::optional<uint8_t> known = gap_reason(reason);
  if (!known) words.fail_word("stopped, suspended, late, clock-set or a number", reason);
  gap_.reason = *known;
  if (words.at_end()) return;
  std::string_view word = words.word("");
  const bool behind = word.starts_with('-');
  const std::optional<uint64_t> offset = parse_seconds(word.substr(behind ? 1 : 0));
  if (!offset) words.fail_word("seconds that the clock is ahead", word);
  gap_.clock_offset = static_cast<int64_t>(behind ? 0 - *offset : *offset);
  words.finish();
}

void TextParser::parse_film_area(Words &words) {
  film_area_ = {};
  film_area_.begin = parse_time(words, time_);
  film_area_.end = parse_time(words, film_area_.begin);
  const Size size = words.size(1, QOM_MAX_SIDE);
  const Point corner = words.point("a position, X,Y");
  if (corner.x < 0 || corner.y < 0) words.fail("an area of film begins on the screen");
  film_area_.x = static_cast<uint16_t>(corner.x);
  film_area_.y = static_cast<uint16_t>(corner.y);
  film_area_.width = size.width;
  film_area_.height = size.height;
  film_area_.rate = words.number<uint32_t>("pictures in 1000 seconds", 0, UINT32_MAX);
  film_area_.quality = words.number<uint8_t>("a quality", 0, 100);
  words.finish();
}

TextParser::Item TextParser::next() {
  compressed_.reset();
  if (!lines_.next()) return Item::end;
  item_line_ = lines_.number();
  Words words = this->words();
  const std::string_view keyword = words.word("");
  if (keyword == "checkpoint-begin" || keyword == "checkpoint-end") {
    words.finish();
    return keyword == "checkpoint-begin" ? Item::checkpoint_begin : Item::checkpoint_end;
  }
  if (keyword == "gap") {
    parse_gap(words);
    return Item::gap;
  }
  if (keyword == "film") {
    parse_film_area(words);
    return Item::film_area;
  }
  const std::optional<QomRecordType> type = record_type(keyword);
  if (!type) words.fail_word("a record such as screen-change or image", keyword);
  time_ = parse_time(words, time_);
  record_ = AnyRecord{};
  record_.head.type = static_cast<uint8_t>(*type);
  record_.head.timestamp = time_;
  data_.clear();
  lossy_.clear();
  parse_record(*type, words);
  return Item::record;
}

void TextParser::parse_record(QomRecordType type, Words &words) {
  switch (type) {
    case QOM_IMAGE:
    case QOM_COMPRESSED_IMAGE:
      parse_image(words);
      if (type == QOM_COMPRESSED_IMAGE) compress(type);
      return;
    case QOM_CURSOR_IMAGE:
      return parse_cursor_image(words);
    case QOM_IMAGE_BLOCKS:
    case QOM_COMPRESSED_IMAGE_BLOCKS:
      words.finish();
      parse_blocks();
      if (type == QOM_COMPRESSED_IMAGE_BLOCKS) compress(type);
      return;
    case QOM_COPY_AREA:
      words.finish();
      return parse_copies();
    case QOM_HEADER:
      words.finish();
      return parse_header_record();
    case QOM_CURSOR_POSITION: {
      const Point point = words.point("a position, X,Y");
      record_.position.x = point.x;
      record_.position.y = point.y;
      break;
    }
    case QOM_SCREEN_CHANGE: {
      const Size size = words.size(0, std::numeric_limits<uint16_t>::max());
      record_.screen.width = size.width;
      record_.screen.height = size.height;
      break;
    }
    case QOM_LAST_INPUT:
      record_.input.user = keep(texts_[0], words.text("the user, quoted or -"));
      record_.input.tfn = keep(texts_[1], words.text("the tfn, quoted or -"));
      break;
    case QOM_DONE:
    case QOM_DEBUG:
      break;
    default:
      record_.footer.item = keep(texts_[0], words.text("a quoted text or -"));
  }
  words.finish();
}

// Behind the word "lossy".
void TextParser::parse_lossy_area(Words &words) {
  if (record_.head.type != QOM_COMPRESSED_IMAGE && record_.head.type != QOM_COMPRESSED_IMAGE_BLOCKS)
    words.fail("only compressed pixels have lossy areas");
  const PixelFormat format = head_.header.pixel_format;
  if (format < xRGB8888 || format > BGRx8888)
    words.fail("only 32-bit pixels without alpha have lossy areas");
  const Size size = words.size(1, QOM_MAX_SIDE);
  const Point corner = words.point("a position, X,Y");
  lossy_.push_back({corner.x, corner.y, size.width, size.height});
}

void TextParser::parse_image(Words &words) {
  const Size size = words.size(1, QOM_MAX_SIDE);
  const Point corner = words.point("a position, X,Y");
  for (Words ahead = words; ahead.word("lossy, fill, random or rows") == "lossy"; words = ahead)
    parse_lossy_area(ahead);
  const PixelRows rows = add_image_rows(words, size);
  parse_pixels(words, rows, Content::screen);
  QomImage &image = record_.image;
  image.width = size.width;
  image.height = size.height;
  image.x = corner.x;
  image.y = corner.y;
  image.pixel_format = head_.header.pixel_format;
  image.scanline_pad = head_.header.scanline_pad;
  image.bytes_per_line = rows.stride;
  image.length = static_cast<uint32_t>(data_.size());
  image.data = data_.data();
}

void TextParser::parse_blocks() {
  for (;;) {
    require_line("\"block\" or \"end\"");
    Words words = this->words();
    const std::string_view keyword = words.word("");
    if (keyword == "end") {
      words.finish();
      break;
    }
    if (keyword == "lossy") {
      parse_lossy_area(words);
      words.finish();
      continue;
    }
    if (keyword != "block") words.fail_word("\"block\" or \"end\"", keyword);
    const Size size = words.size(1, QOM_MAX_SIDE);
    const Point corner = words.point("a position, X,Y");
    const size_t head = data_.size();
    data_.resize(head + kBlockHead);
    const PixelRows rows = add_image_rows(words, size);
    std::memcpy(&data_[head], &corner, sizeof corner);
    std::memcpy(&data_[head + sizeof corner], &size, sizeof size);
    parse_pixels(words, rows, Content::screen);
  }
  record_.blocks.length = static_cast<uint32_t>(data_.size());
  record_.blocks.data = data_.empty() ? nullptr : data_.data();
}

void TextParser::parse_copies() {
  if (head_.header.version < 2)
    throw TextError(item_line_, "copies need the line \"version 2\" in the header");
  copies_.clear();
  for (;;) {
    require_line("\"copy\" or \"end\"");
    Words words = this->words();
    const std::string_view keyword = words.word("");
    if (keyword == "end") {
      words.finish();
      break;
    }
    if (keyword != "copy") words.fail_word("\"copy\" or \"end\"", keyword);
    const Size size = words.size(1, QOM_MAX_SIDE);
    const Point from = words.point("a position, X,Y");
    words.expect("to");
    const Point to = words.point("a position, X,Y");
    words.finish();
    if (copies_.size() == QOM_MAX_COPIES) words.fail("more areas than one record can hold");
    copies_.push_back({from.x, from.y, size.width, size.height, to.x, to.y});
  }
  record_.copied.count = static_cast<uint32_t>(copies_.size());
  record_.copied.copies = copies_.data();
}

void TextParser::parse_cursor_image(Words &words) {
  QomCursorImage &cursor = record_.cursor;
  const Size size = words.size(1, QOM_MAX_CURSOR_SIDE);
  const Point corner = words.point("a position, X,Y");
  words.expect("hot");
  const Point hot = words.point("a hot spot, X,Y");
  if (hot.x < 0 || hot.y < 0) words.fail("a hot spot lies inside its image");
  words.expect("serial");
  cursor.cursor_serial = words.number<uint32_t>("a serial number", 0, 0xffffffffu);
  const PixelRows rows = add_rows(words, size, kCursorPixel, size.width * kCursorPixel);
  parse_pixels(words, rows, Content::cursor);
  cursor.width = size.width;
  cursor.height = size.height;
  cursor.x = corner.x;
  cursor.y = corner.y;
  cursor.xhot = static_cast<uint16_t>(hot.x);
  cursor.yhot = static_cast<uint16_t>(hot.y);
  cursor.length = static_cast<uint32_t>(data_.size());
  cursor.data = data_.data();
}

void TextParser::compress(QomRecordType type) {
  void *compressed;
  if (type == QOM_COMPRESSED_IMAGE) {
    record_.head.type = QOM_IMAGE;
    for (QomRectangle &area : lossy_) {
      area.x -= record_.image.x;
      area.y -= record_.image.y;
    }
    compressed = qom_image_compress_marked(&record_.image, lossy_.data(), lossy_.size());
  } else {
    record_.head.type = QOM_IMAGE_BLOCKS;
    compressed = qom_image_blocks_compress_marked(&record_.blocks, head_.header.pixel_format,
                                                  lossy_.data(), lossy_.size());
  }
  if (!compressed) throw TextError(item_line_, qom_reader_error());
  compressed_.reset(static_cast<QomRecord *>(compressed));
}

PixelRows TextParser::add_image_rows(Words &words, Size size) {
  return add_rows(
      words, size, bits_per_pixel(head_.header) / 8u,
      stride_in_bytes(size.width, bits_per_pixel(head_.header), head_.header.scanline_pad));
}

PixelRows TextParser::add_rows(Words &words, Size size, uint32_t bytes_per_pixel, uint32_t stride) {
  const size_t start = data_.size();
  const uint64_t bytes = uint64_t{stride} * size.height;
  if (bytes > QOM_MAX_DATA || start > QOM_MAX_DATA - bytes) {
    words.fail("more pixels than one record can hold");
  }
  data_.resize(start + bytes);
  return {data_.data() + start, size.width, size.height, stride, bytes_per_pixel};
}

void TextParser::parse_pixels(Words &words, const PixelRows &rows, Content content) {
  const std::string_view kind = words.word("fill, random or rows");
  if (kind == "fill") {
    fill(rows, parse_pixel(words, rows, content));
    words.finish();
  } else if (kind == "random") {
    const uint64_t seed = words.number<uint64_t>("a seed", 0, std::numeric_limits<uint64_t>::max());
    words.finish();
    if (content == Content::cursor)
      fill_random_cursor(rows, seed);
    else
      fill_random(rows, seed, head_.header.pixel_format, head_.header.palette_size);
  } else if (kind == "rows") {
    words.finish();
    parse_rows(rows);
  } else {
    words.fail_word("fill, random or rows", kind);
  }
}

uint32_t TextParser::parse_pixel(Words &words, const PixelRows &rows, Content content) {
  Words ahead = words;
  const std::string_view word = ahead.word("a pixel or rgb:RR/GG/BB");
  if (!word.starts_with("rgb:"))
    return words.hexadecimal("a pixel", size_t{2} * rows.bytes_per_pixel);
  words = ahead;
  if (word.size() != 12 || word[6] != '/' || word[9] != '/') words.fail_word("rgb:RR/GG/BB", word);
  uint32_t channels[3];
  for (size_t i = 0; i < 3; ++i) {
    const int high = hexadecimal_digit(word[4 + 3 * i]), low = hexadecimal_digit(word[5 + 3 * i]);
    if (high < 0 || low < 0) words.fail_word("rgb:RR/GG/BB", word);
    channels[i] = static_cast<uint32_t>(high * 16 + low);
  }
  const PixelFormat format = content == Content::cursor ? ARGB8888 : head_.header.pixel_format;
  const std::optional<uint32_t> pixel =
      pixel_of_colour(format, channels[0], channels[1], channels[2]);
  if (!pixel) words.fail("a recording with a palette takes palette indexes, two digits each");
  return *pixel;
}

}  // namespace qomtool
