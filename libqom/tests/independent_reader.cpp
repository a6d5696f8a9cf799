#include "independent_reader.h"

#include <zstd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <set>

namespace independent {
namespace {

using Bytes = std::vector<uint8_t>;

uint32_t crc32c(const uint8_t *data, size_t length, uint32_t value = 0) {
  value = ~value;
  for (size_t i = 0; i < length; ++i) {
    value ^= data[i];
    for (int bit = 0; bit < 8; ++bit) value = value & 1 ? value >> 1 ^ 0x82F63B78 : value >> 1;
  }
  return ~value;
}

std::string digits(const uint8_t *data, size_t length) {
  std::string text;
  for (size_t i = 0; i < length; ++i) {
    text += "0123456789abcdef"[data[i] / 16];
    text += "0123456789abcdef"[data[i] % 16];
  }
  return text;
}

// Little-endian numbers one behind the other; `good` turns false at the end of the bytes.
struct Fields {
  const uint8_t *at;
  size_t left;
  bool good = true;

  uint64_t number(size_t bytes) {
    if (bytes > left) good = false;
    if (!good) return 0;
    uint64_t value = 0;
    for (size_t i = bytes; i-- > 0;) value = value << 8 | at[i];
    skip(bytes);
    return value;
  }
  int64_t signed_number() { return static_cast<int16_t>(number(2)); }
  void skip(size_t bytes) {
    at += bytes;
    left -= bytes;
  }
  std::string bytes(uint64_t length) {
    if (length > left) good = false;
    if (!good) return "";
    const std::string text = digits(at, length);
    skip(length);
    return text;
  }
  // As many bytes as there should be, and all of them.
  std::string data(uint64_t length) {
    if (length != left) good = false;
    return ' ' + std::to_string(length) + ':' + bytes(length);
  }
  std::string text() {
    const uint64_t length = number(4);
    if (length == 0xFFFFFFFF) return " none";
    if (length > left || length > 1048576 || std::count(at, at + length, 0) > 0) good = false;
    if (!good) return "";
    const std::string text(at, at + length);
    skip(length);
    return " \"" + text + "\"";
  }
};

template <typename... Numbers>
std::string words(Numbers... numbers) {
  std::string text;
  ((text += ' ' + std::to_string(numbers)), ...);
  return text;
}

uint64_t bytes_per_pixel(uint64_t format) {
  return format == 0 || format > 13 ? 0 : format <= 3 ? 1 : format <= 5 ? 2 : 4;
}

uint64_t row_bytes(uint64_t width, uint64_t format, uint64_t pad) {
  const uint64_t bits = width * bytes_per_pixel(format) * 8;
  const uint64_t unit = pad == 0 ? 8 : pad;
  return (bits + unit - 1) / unit * unit / 8;
}

// Bytes of the rows; 0 for sides that are not allowed.
uint64_t image_bytes(uint64_t width, uint64_t height, uint64_t format, uint64_t pad) {
  if (width < 1 || width > 16384 || height < 1 || height > 16384) return 0;
  const uint64_t length = row_bytes(width, format, pad) * height;
  return length <= 268435456 ? length : 0;
}

struct Header {
  uint64_t start, format, pad;
  std::string fields;
};

bool read_header(Fields in, Header *header) {
  header->start = in.number(8);
  const uint64_t depth = in.number(1);
  header->pad = in.number(1);
  header->format = in.number(1);
  const uint64_t low = in.number(1);
  const uint64_t high = in.number(1);
  const uint64_t version = in.number(1);
  const uint64_t palette = in.number(2);
  const uint64_t width = in.number(2);
  const uint64_t height = in.number(2);
  header->fields = words(version, depth, width, height, header->format, header->pad, low, high) +
                   words(8 * palette) + ":" + in.bytes(8 * palette);
  header->fields += in.text();
  header->fields += in.text();
  const uint64_t bits = 8 * bytes_per_pixel(header->format);
  const bool pad_is_good =
      header->pad == 0 || header->pad == 8 || header->pad == 16 || header->pad == 32;
  return in.good && depth >= 1 && depth <= bits && pad_is_good &&
         header->start <= uint64_t{1} << 62 &&
         image_bytes(width, height, header->format, header->pad) > 0;
}

struct Frame {
  uint64_t position, type, codec, time, stored, raw;
  const uint8_t *payload;
  bool payload_is_good;
};

class Walk {
 public:
  explicit Walk(const Bytes &file) : file_(file) {}
  Recording run();

 private:
  bool read_head(size_t at);
  bool find_head();
  bool read_frame(size_t at, Frame *frame) const;
  void add(const Frame &frame);
  bool decode(const Frame &frame, Record *record) const;
  bool decode_image(Fields in, const Frame &frame, Record *record) const;
  bool decode_cursor(Fields in, const Frame &frame, Record *record) const;
  bool unpack(Fields in, const Frame &frame, size_t row, Record *record) const;
  void check_index(Fields in, const Frame &frame);
  void find_checkpoints();

  const Bytes &file_;
  size_t first_frame_ = 0;
  uint8_t salt_[4] = {};
  Header header_ = {};
  uint64_t time_ = 0;
  std::set<std::pair<uint64_t, uint64_t>> marks_;
  Recording out_;
};

// The head that begins there, the file's own one or a copy.
bool Walk::read_head(size_t at) {
  const uint8_t magic[] = {0x89, 0x51, 0x4F, 0x4D, 0x0D, 0x0A, 0x1A, 0x0A};
  const uint8_t *head = file_.data() + at;
  const size_t left = file_.size() - at;
  if (left < 20 || std::memcmp(head, magic, 8) != 0) return false;
  Fields in = {head + 8, 8};
  const uint64_t major = in.number(2);
  in.number(2);
  const uint64_t length = in.number(4);
  if (major != 1 || length > 4194304 || length > left - 20) return false;
  std::memcpy(salt_, head + 16 + length, 4);
  first_frame_ = 20 + length;
  return Fields{salt_, 4}.number(4) == crc32c(head, 16 + length) &&
         read_header({head + 16, length}, &header_);
}

bool Walk::find_head() {
  if (read_head(0)) return true;
  for (size_t at = 1; at + 52 < file_.size(); ++at) {
    Frame frame = {};
    if (file_[at] == 0xB3 && file_[at + 4] == 228 && read_head(at + 32) && read_frame(at, &frame) &&
        frame.stored == first_frame_ && frame.payload_is_good)
      return true;
  }
  return false;
}

bool Walk::read_frame(size_t at, Frame *frame) const {
  if (file_.size() - at < 32) return false;
  Fields in = {file_.data() + at, 32};
  if (in.number(4) != 0xF87251B3) return false;
  frame->position = at;
  frame->type = in.number(1);
  frame->codec = in.number(1);
  in.number(2);
  frame->time = in.number(8);
  frame->stored = in.number(4);
  frame->raw = in.number(4);
  const uint64_t payload_crc = in.number(4);
  if (in.number(4) != crc32c(file_.data() + at, 28, crc32c(salt_, 4))) return false;
  if (frame->stored > file_.size() - at - 32) {
    frame->stored = file_.size();  // cut off: nothing follows it
    return true;
  }
  frame->payload = file_.data() + at + 32;
  frame->payload_is_good = crc32c(frame->payload, frame->stored) == payload_crc;
  return true;
}

Recording Walk::run() {
  out_.opens = find_head();
  out_.header = " at" + words(header_.start) + header_.fields;
  time_ = header_.start;
  for (size_t at = first_frame_; out_.opens && at < file_.size();) {
    Frame frame = {};
    if (!read_frame(at, &frame)) {
      ++at;
      continue;
    }
    if (frame.payload_is_good) add(frame);
    if (frame.stored == file_.size()) break;
    at += 32 + frame.stored;
  }
  find_checkpoints();
  return out_;
}

void Walk::add(const Frame &frame) {
  Fields in = {frame.payload, frame.stored};
  if (frame.type <= 16) {
    Record record = {static_cast<int>(frame.type), "", "", frame.position, 32 + frame.stored};
    if (frame.time > uint64_t{1} << 62 || !decode(frame, &record)) return;
    time_ = std::max(time_, frame.time);
    record.fields = " at" + words(time_) + record.fields;
    out_.records.push_back(record);
  } else if (frame.type == 227 && frame.stored == 16) {
    const uint64_t position = in.number(8);
    marks_.emplace(position, in.number(8));
  } else if (frame.type == 229 && frame.stored == 32) {
    const uint64_t begin = in.number(8);
    const uint64_t end = in.number(8);
    const auto offset = static_cast<int64_t>(in.number(8));
    const uint64_t reason = in.number(1);
    const int64_t most = int64_t{1} << 62;
    if (begin <= end && end <= uint64_t{1} << 62 && offset >= -most && offset <= most && reason > 0)
      out_.gaps.push_back({words(begin, end, offset, reason), out_.records.size()});
  } else if (frame.type == 224 || frame.type == 225) {
    check_index(in, frame);
  }
}

bool Walk::decode(const Frame &frame, Record *record) const {
  Fields in = {frame.payload, frame.stored};
  const bool compressed = frame.type == 4 || frame.type == 15;
  const bool pixels = compressed || frame.type == 3 || frame.type == 5 || frame.type == 14;
  if ((!compressed && frame.type != 5 && frame.codec != 0) || (!pixels && frame.raw != 0))
    return false;
  switch (frame.type) {
    case 0:
    case 1:
      break;
    case 2: {
      Header header;
      if (!read_header(in, &header)) return false;
      record->fields = header.fields;
      return true;
    }
    case 3:
    case 4:
      return decode_image(in, frame, record);
    case 5:
      return decode_cursor(in, frame, record);
    case 6:
      record->fields = words(in.signed_number());
      record->fields += words(in.signed_number());
      break;
    case 7:
      record->fields = words(in.number(2));
      record->fields += words(in.number(2));
      break;
    case 8:
      record->fields = in.text();
      [[fallthrough]];
    default:
      record->fields += in.text();
      break;
    case 14:
      record->fields = in.data(frame.raw);
      break;
    case 15:
      record->fields = words(frame.raw);
      return (frame.codec == 1 || frame.codec == 3) && frame.raw <= 268435456 &&
             unpack(in, frame, 0, record);
  }
  return in.good && in.left == 0;
}

bool Walk::decode_image(Fields in, const Frame &frame, Record *record) const {
  const uint64_t width = in.number(2);
  const uint64_t height = in.number(2);
  const int64_t x = in.signed_number();
  const int64_t y = in.signed_number();
  const uint64_t format = in.number(1);
  const uint64_t pad = in.number(1);
  in.number(2);
  if (!in.good || format != header_.format || pad != header_.pad || frame.raw == 0 ||
      frame.raw != image_bytes(width, height, format, pad))
    return false;
  record->fields = words(width, height, x, y, format, pad, frame.raw);
  const uint64_t row = row_bytes(width, format, pad);
  if (frame.type == 4)
    return frame.codec >= 1 && frame.codec <= 3 && unpack(in, frame, row, record);
  record->fields += words(row) + in.data(frame.raw);
  return in.good;
}

bool Walk::decode_cursor(Fields in, const Frame &frame, Record *record) const {
  const uint64_t width = in.number(2);
  const uint64_t height = in.number(2);
  const int64_t x = in.signed_number();
  const int64_t y = in.signed_number();
  const uint64_t xhot = in.number(2);
  const uint64_t yhot = in.number(2);
  const uint64_t serial = in.number(4);
  if (width < 1 || width > 1024 || height < 1 || height > 1024 || xhot > width || yhot > height ||
      frame.raw != width * height * 4 || frame.codec > 1)
    return false;
  Bytes raw;
  if (frame.codec == 1) {
    raw.resize(frame.raw);
    if (ZSTD_getFrameContentSize(in.at, in.left) != frame.raw ||
        ZSTD_findFrameCompressedSize(in.at, in.left) != in.left ||
        ZSTD_decompress(raw.data(), raw.size(), in.at, in.left) != frame.raw)
      return false;
    in = {raw.data(), raw.size()};
  }
  record->fields = words(width, height, x, y, xhot, yhot, serial) + in.data(frame.raw);
  return in.good;
}

using Pixel = std::array<int, 4>;

// The residuals in front of packed blocks.
struct Residuals {
  std::array<size_t, 3> next{};  // in a plane, for each kind
  std::array<size_t, 3> end{};
  Bytes planes;

  explicit Residuals(Fields *in) {
    size_t sum = 0;
    for (size_t kind = 0; kind < 3; ++kind) {
      next[kind] = sum;
      end[kind] = sum += in->number(4);
    }
    if (in->left < 4 * sum) in->good = false;
    if (!in->good) return;
    planes.assign(in->at, in->at + 4 * sum);
    in->at += 4 * sum;
    in->left -= 4 * sum;
  }

  bool unpack(size_t width, size_t height, Bytes *raw) {
    const size_t plane = planes.size() / 4;
    std::vector<Pixel> values;
    for (size_t i = 0; i < width * height; ++i) {
      const Pixel start = {128, 0, 128, 0};
      Pixel left = i % width > 0 ? values[i - 1] : i > 0 ? values[i - width] : start;
      const Pixel above = i >= width ? values[i - width] : left;
      const Pixel corner = i < width ? left : i % width > 0 ? values[i - width - 1] : above;
      int spread = 0;
      for (size_t k = 0; k < 4; ++k)
        spread +=
            std::max({left[k], above[k], corner[k]}) - std::min({left[k], above[k], corner[k]});
      const size_t kind = spread < 3 ? 0 : spread < 14 ? 1 : 2;
      if (next[kind] == end[kind]) return false;
      for (size_t k = 0; k < 4; ++k) {
        const int predicted = std::clamp(left[k] + above[k] - corner[k],
                                         std::min(left[k], above[k]), std::max(left[k], above[k]));
        left[k] = (predicted + planes[k * plane + next[kind]]) & 255;
      }
      ++next[kind];
      values.push_back(left);
      for (size_t k = 0; k < 4; ++k)
        raw->push_back(static_cast<uint8_t>(left[k] + (k % 2 == 0 ? left[1] - 128 : 0)));
    }
    return true;
  }
};

// The pixels of one block of a group of few or many colours; false when they are not all there.
bool unpack_colours(Fields *in, uint64_t method, const Bytes &colours, size_t width, size_t height,
                    Bytes *raw) {
  const size_t row = method == 1 ? (width + 1) / 2 : width;
  if (method < 1 || method > 2 || in->left < row * height) return false;
  for (size_t i = 0; i < width * height; ++i) {
    const size_t x = i % width;
    const uint8_t byte = in->at[method == 1 ? i / width * row + x / 2 : i];
    const size_t colour = method == 1 ? byte >> (x % 2 * 4) & 15u : byte;
    for (size_t k = 0; k < 4; ++k)
      raw->push_back(4 * colour < colours.size() ? colours[4 * colour + k] : uint8_t{0});
  }
  in->at += row * height;
  in->left -= row * height;
  return true;
}

bool unpack_blocks(Fields in, size_t length, Bytes *raw) {
  Residuals residuals(&in);
  while (in.good && in.left > 0) {
    const uint64_t method = in.number(1);
    const size_t colour_count = in.number(1) + 1;
    const size_t blocks = in.number(2);
    Fields heads = in;
    const size_t skipped = 8 * blocks + (method == 3 ? 0 : 4 * colour_count);
    if (!in.good || blocks == 0 || in.left < skipped) return false;
    const Bytes colours(in.at + 8 * blocks, in.at + skipped);
    in.at += skipped;
    in.left -= skipped;
    for (size_t i = 0; i < blocks; ++i) {
      raw->insert(raw->end(), heads.at, heads.at + 8);
      heads.number(4);
      const size_t width = heads.number(2);
      const size_t height = heads.number(2);
      if (raw->size() + 4 * width * height > length) return false;
      if (method == 3 ? !residuals.unpack(width, height, raw)
                      : !unpack_colours(&in, method, colours, width, height, raw))
        return false;
    }
  }
  return in.good && raw->size() == length && residuals.next == residuals.end;
}

// Puts the tiles of an image together; none when they are not where they should be.
Bytes join_tiles(const Bytes &blocks, size_t row, size_t height) {
  Bytes image(row * height);
  Fields in = {blocks.data(), blocks.size()};
  for (size_t y = 0; y < height; y += 64) {
    for (size_t x = 0; x < row / 4; x += 128) {
      const size_t tile_width = std::min<size_t>(128, row / 4 - x);
      const size_t tile_height = std::min<size_t>(64, height - y);
      for (const size_t number : {x, y, tile_width, tile_height})
        if (in.number(2) != number) return {};
      for (size_t line = y; line < y + tile_height; ++line, in.at += 4 * tile_width)
        std::copy_n(in.at, 4 * tile_width,
                    image.begin() + static_cast<ptrdiff_t>(line * row + 4 * x));
    }
  }
  return image;
}

// The compressed bytes go into the fields with their codec in front. Bytes that do not
// decompress are the matter of who wants the pixels: the record is there all the same.
bool Walk::unpack(Fields in, const Frame &frame, size_t row, Record *record) const {
  const auto codec = static_cast<uint8_t>(frame.codec);
  record->fields += words(in.left + 1) + ":" + digits(&codec, 1) + digits(in.at, in.left);
  if (codec == 3) {
    Bytes packed(frame.raw < 1 << 20 ? frame.raw + frame.raw / 16 + 64 : 0);
    const size_t length = ZSTD_decompress(packed.data(), packed.size(), in.at, in.left);
    const bool image = frame.type == 4;
    if (ZSTD_isError(length) || length == 0 || (image && header_.format < 6)) return true;
    const size_t height = image ? frame.raw / row : 0;
    const size_t tiles = (row / 4 + 127) / 128 * ((height + 63) / 64);
    Bytes blocks;
    if (!unpack_blocks({packed.data(), length}, frame.raw + 8 * tiles, &blocks)) return true;
    if (image) blocks = join_tiles(blocks, row, height);
    record->decoded = digits(blocks.data(), blocks.size());
    return true;
  }
  Bytes raw(frame.raw < 1 << 20 ? frame.raw : 0);
  if (ZSTD_decompress(raw.data(), raw.size(), in.at, in.left) != raw.size()) return true;
  for (size_t i = 0; frame.codec == 2 && i < raw.size(); ++i)
    if (i % row >= 4) raw[i] = static_cast<uint8_t>(raw[i] + raw[i - 4]);
  record->decoded = digits(raw.data(), raw.size());
  return true;
}

void Walk::check_index(Fields in, const Frame &frame) {
  const bool own_position = in.number(8) == frame.position;
  in.number(8);
  const uint64_t first = in.number(8);
  const uint64_t entries = in.number(4);
  const uint64_t spans = in.number(4);
  bool agrees = own_position && in.left == 24 * entries + 16 * spans;
  for (uint64_t i = first; agrees && i < first + entries; ++i) {
    const uint64_t position = in.number(8);
    in.number(8);
    const auto type = static_cast<int>(in.number(1));
    agrees = in.number(3) == 0 && i < out_.records.size() && position == out_.records[i].position &&
             type == out_.records[i].type && in.number(4) + 32 == out_.records[i].length;
  }
  for (uint64_t i = 0; agrees && i < spans; ++i) {
    const uint64_t position = in.number(8);
    agrees = marks_.count({position, in.number(8)}) > 0;
  }
  out_.index_agrees = out_.index_agrees && agrees;
}

void Walk::find_checkpoints() {
  for (const auto &[position, count] : marks_) {
    const auto first =
        std::find_if(out_.records.begin(), out_.records.end(),
                     [at = position](const Record &record) { return record.position == at; });
    if (count < 1 || count > 256 || static_cast<uint64_t>(out_.records.end() - first) < count)
      continue;
    uint64_t end = position;
    bool image = false;
    for (auto record = first; record < first + static_cast<long>(count); ++record) {
      end = record->position == end ? end + record->length : 0;
      image = image || record->type == 4;
    }
    const auto number = static_cast<size_t>(first - out_.records.begin());
    const bool overlaps = !out_.checkpoints.empty() && number < out_.checkpoints.back().second;
    if (end != 0 && image && !overlaps) out_.checkpoints.emplace_back(number, number + count);
  }
}

}  // namespace

Recording read(const std::vector<uint8_t> &file) {
  return Walk(file).run();
}

}  // namespace independent
