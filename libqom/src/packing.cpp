#include "packing.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "array.h"
#include "bytes.h"

namespace qom {
namespace {

constexpr size_t head_bytes = 8;  // of a block: x, y, width, height

// How the pixels of a group of blocks are stored.
enum Method : uint8_t { few_colours = 1, many_colours = 2, differences = 3 };

constexpr size_t most_few = 16;
constexpr size_t most_many = 256;
// Blocks with more colours than one in so many pixels look like a photograph.
constexpr size_t pixels_per_colour = 16;
constexpr size_t most_blocks_of_group = 0xFFFF;

struct Block {
  size_t offset;  // of its head in the blocks, bytes
  uint32_t width;
  uint32_t height;

  size_t pixels() const { return size_t{width} * height; }
};

uint32_t pixel_at(const uint8_t *at) {
  uint32_t pixel;
  std::memcpy(&pixel, at, sizeof pixel);
  return pixel;
}

Block block_at(const uint8_t *blocks, size_t offset) {
  uint16_t sides[2];
  std::memcpy(sides, blocks + offset + 4, sizeof sides);
  return {offset, sides[0], sides[1]};
}

// The colours of a group in the order of their first pixel, found by hashing.
class Palette {
 public:
  Palette() { clear(); }
  void clear() {
    count_ = 0;
    std::fill(std::begin(slots_), std::end(slots_), free_slot);
  }
  size_t count() const { return count_; }
  const uint32_t *colours() const { return colours_; }

  // Writes one index per pixel. False, with some colours added, when there would be more colours
  // than `limit`.
  bool index(const uint8_t *pixels, size_t count, size_t limit, uint8_t *indices) {
    uint32_t last = 0;
    int last_index = -1;
    for (size_t i = 0; i < count; ++i) {
      const uint32_t pixel = pixel_at(pixels + 4 * i);
      if (pixel != last || last_index < 0) {
        last_index = find_or_add(pixel, limit);
        if (last_index < 0) return false;
        last = pixel;
      }
      indices[i] = static_cast<uint8_t>(last_index);
    }
    return true;
  }

 private:
  static constexpr uint16_t free_slot = 0xFFFF;
  static constexpr size_t slot_count = 1024;

  int find_or_add(uint32_t pixel, size_t limit) {
    size_t slot = (pixel * 2654435761u) >> 22;
    while (slots_[slot] != free_slot && colours_[slots_[slot]] != pixel)
      slot = (slot + 1) % slot_count;
    if (slots_[slot] != free_slot) return slots_[slot];
    if (count_ == limit) return -1;
    slots_[slot] = static_cast<uint16_t>(count_);
    colours_[count_] = pixel;
    return static_cast<int>(count_++);
  }

  size_t count_;
  uint32_t colours_[most_many];
  uint16_t slots_[slot_count];
};

// Packs block after block; a group is written when its last block is known.
class Packer {
 public:
  Packer(const uint8_t *blocks, size_t length) : blocks_(blocks), length_(length) {}

  Packed pack() {
    if (!find_blocks() || !indices_.resize(most_pixels_) || !start_output()) return {};
    for (const Block &block : list_)
      if (!add(block)) return {};
    if (!write_group()) return {};
    Packed packed;
    packed.length = written_;
    packed.photographic = difference_bytes_ > written_ / 2;
    packed.bytes = output_.release();
    return packed;
  }

 private:
  struct FreeBytes {
    void operator()(uint8_t *bytes) const { std::free(bytes); }
  };

  bool start_output() {
    output_.reset(static_cast<uint8_t *>(std::malloc(most_packed(length_))));
    return output_ != nullptr;
  }

  bool find_blocks() {
    size_t offset = 0;
    while (length_ - offset > head_bytes) {
      const Block block = block_at(blocks_, offset);
      const size_t left = (length_ - offset - head_bytes) / 4;
      if (block.pixels() == 0 || block.pixels() > left || !list_.push(block)) return false;
      offset += head_bytes + 4 * block.pixels();
      most_pixels_ = std::max(most_pixels_, block.pixels());
    }
    return offset == length_ && !list_.empty();
  }

  // Joins the block to the group when that needs no other method, else begins a new group.
  bool add(const Block &block) {
    const uint8_t *pixels = blocks_ + block.offset + head_bytes;
    const size_t most = std::min(most_many, block.pixels() / pixels_per_colour);
    if (join(pixels, block, few_colours, most_few) || join(pixels, block, many_colours, most))
      return keep(block);
    Method method = differences;
    Palette palette;
    if (palette.index(pixels, block.pixels(), most_few, indices_.data())) {
      method = few_colours;
    } else {
      palette.clear();
      if (palette.index(pixels, block.pixels(), most, indices_.data())) method = many_colours;
    }
    if (method != differences || method_ != differences || full()) {
      if (!write_group()) return false;
      method_ = method;
      palette_ = palette;
      if (method == differences) palette_.clear();
    }
    return keep(block);
  }

  bool full() const { return group_.size() == most_blocks_of_group; }

  bool join(const uint8_t *pixels, const Block &block, Method method, size_t most) {
    if (method_ != method || group_.empty() || full()) return false;
    Palette wider = palette_;
    const size_t limit = method == few_colours ? most_few : std::max(most, palette_.count());
    if (!wider.index(pixels, block.pixels(), limit, indices_.data())) return false;
    palette_ = wider;
    return true;
  }

  bool keep(const Block &block) {
    if (!group_.push(block)) return false;
    return method_ == differences || keep_indices(block);
  }

  // The indices of a group, ready to be written: two in a byte, rows begin a new byte, for few
  // colours.
  bool keep_indices(const Block &block) {
    const size_t begin = group_data_.size();
    const uint8_t *from = indices_.data();
    if (method_ == many_colours) {
      if (!group_data_.resize(begin + block.pixels())) return false;
      std::memcpy(group_data_.data() + begin, from, block.pixels());
      return true;
    }
    const size_t row_bytes = (size_t{block.width} + 1) / 2;
    if (!group_data_.resize(begin + row_bytes * block.height)) return false;
    uint8_t *to = group_data_.data() + begin;
    for (uint32_t y = 0; y < block.height; ++y, from += block.width) {
      for (uint32_t x = 0; x + 1 < block.width; x += 2)
        *to++ = static_cast<uint8_t>(from[x] | from[x + 1] << 4);
      if (block.width % 2) *to++ = from[block.width - 1];
    }
    return true;
  }

  bool write_group() {
    if (group_.empty()) return true;
    const size_t colours = method_ == differences ? 0 : palette_.count();
    size_t data_bytes = group_data_.size();
    if (method_ == differences)
      for (const Block &block : group_) data_bytes += 4 * block.pixels();
    const size_t bytes = 4 + head_bytes * group_.size() + 4 * colours + data_bytes;
    if (bytes > most_packed(length_) - written_) return false;
    uint8_t *to = output_.get() + written_;
    *to++ = method_;
    *to++ = static_cast<uint8_t>(colours ? colours - 1 : 0);
    const auto count = static_cast<uint16_t>(group_.size());
    std::memcpy(to, &count, sizeof count);
    to += sizeof count;
    for (const Block &block : group_) {
      std::memcpy(to, blocks_ + block.offset, head_bytes);
      to += head_bytes;
    }
    if (colours) std::memcpy(to, palette_.colours(), 4 * colours);
    to += 4 * colours;
    if (method_ == differences) {
      if (!write_differences(to)) return false;
      difference_bytes_ += data_bytes;
    } else {
      std::memcpy(to, group_data_.data(), data_bytes);
    }
    written_ += bytes;
    group_.clear();
    group_data_.clear();
    return true;
  }

  // Four planes per block. A row of a plane begins with the difference from the row above.
  bool write_differences(uint8_t *to) {
    for (const Block &block : group_) {
      if (!row_.resize(4 * size_t{block.width})) return false;
      const uint8_t *from = blocks_ + block.offset + head_bytes;
      const size_t plane_bytes = block.pixels();
      uint8_t above[4] = {};
      for (uint32_t y = 0; y < block.height; ++y, from += 4 * size_t{block.width}) {
        split_row(from, block.width);
        for (int plane = 0; plane < 4; ++plane) {
          const uint8_t *row = row_.data() + plane * size_t{block.width};
          uint8_t *out = to + plane * plane_bytes + size_t{block.width} * y;
          out[0] = static_cast<uint8_t>(row[0] - above[plane]);
          for (uint32_t x = 1; x < block.width; ++x)
            out[x] = static_cast<uint8_t>(row[x] - row[x - 1]);
          above[plane] = row[0];
        }
      }
      to += 4 * plane_bytes;
    }
    return true;
  }

  // The bytes of a row's pixels side by side; the first and third one less the second, since the
  // colours of a pixel resemble each other.
  void split_row(const uint8_t *from, uint32_t width) {
    uint8_t *row = row_.data();
    for (uint32_t x = 0; x < width; ++x) {
      const uint8_t *pixel = from + 4 * size_t{x};
      row[x] = static_cast<uint8_t>(pixel[0] - pixel[1]);
      row[x + width] = pixel[1];
      row[x + 2 * size_t{width}] = static_cast<uint8_t>(pixel[2] - pixel[1]);
      row[x + 3 * size_t{width}] = pixel[3];
    }
  }

  const uint8_t *blocks_;
  size_t length_;
  Array<Block> list_;
  size_t most_pixels_ = 0;

  Method method_ = differences;  // of the group
  Palette palette_;
  Array<Block> group_;
  Array<uint8_t> group_data_;
  Array<uint8_t> indices_;  // of the pixels of one block
  Array<uint8_t> row_;

  std::unique_ptr<uint8_t, FreeBytes> output_;
  size_t written_ = 0;
  size_t difference_bytes_ = 0;
};

bool unpack_few(ByteReader &packed, const uint32_t *palette, const Block &block, uint8_t *to) {
  const size_t row_bytes = (size_t{block.width} + 1) / 2;
  const uint8_t *from = packed.take(row_bytes * block.height);
  if (!from) return false;
  for (uint32_t y = 0; y < block.height; ++y, from += row_bytes) {
    for (uint32_t x = 0; x < block.width; ++x, to += 4)
      std::memcpy(to, &palette[from[x / 2] >> (x % 2 * 4) & 15], 4);
  }
  return true;
}

bool unpack_many(ByteReader &packed, const uint32_t *palette, const Block &block, uint8_t *to) {
  const uint8_t *from = packed.take(block.pixels());
  if (!from) return false;
  for (size_t i = 0; i < block.pixels(); ++i, to += 4) std::memcpy(to, &palette[from[i]], 4);
  return true;
}

bool unpack_differences(ByteReader &packed, const Block &block, uint8_t *to) {
  const size_t plane = block.pixels();
  const uint8_t *from = packed.take(4 * plane);
  if (!from) return false;
  uint8_t above[4] = {};
  for (uint32_t y = 0; y < block.height; ++y) {
    uint8_t a = above[0], b = above[1], c = above[2], d = above[3];
    for (uint32_t x = 0; x < block.width; ++x, ++from, to += 4) {
      a = static_cast<uint8_t>(a + from[0]);
      b = static_cast<uint8_t>(b + from[plane]);
      c = static_cast<uint8_t>(c + from[2 * plane]);
      d = static_cast<uint8_t>(d + from[3 * plane]);
      if (x == 0) above[0] = a, above[1] = b, above[2] = c, above[3] = d;
      const uint32_t pixel = static_cast<uint8_t>(a + b) | uint32_t{b} << 8 |
                             uint32_t{static_cast<uint8_t>(c + b)} << 16 | uint32_t{d} << 24;
      std::memcpy(to, &pixel, sizeof pixel);
    }
  }
  return true;
}

// One group. Indices without a colour in the palette give zero pixels.
bool unpack_group(ByteReader &packed, uint8_t *blocks, size_t length, size_t *offset) {
  const auto method = packed.get<uint8_t>();
  const size_t colours = size_t{packed.get<uint8_t>()} + 1;
  const auto count = packed.get<uint16_t>();
  const uint8_t *heads = packed.take(head_bytes * count);
  if (!heads || count == 0) return false;
  uint32_t palette[most_many] = {};
  if (method != differences) {
    const uint8_t *stored = packed.take(4 * colours);
    if (!stored) return false;
    std::memcpy(palette, stored, 4 * colours);
  }
  for (size_t i = 0; i < count; ++i) {
    if (length - *offset < head_bytes) return false;
    std::memcpy(blocks + *offset, heads + head_bytes * i, head_bytes);
    const Block block = block_at(blocks, *offset);
    *offset += head_bytes;
    if (block.pixels() > (length - *offset) / 4) return false;
    uint8_t *to = blocks + *offset;
    *offset += 4 * block.pixels();
    const bool unpacked = method == few_colours    ? unpack_few(packed, palette, block, to)
                          : method == many_colours ? unpack_many(packed, palette, block, to)
                          : method == differences  ? unpack_differences(packed, block, to)
                                                   : false;
    if (!unpacked) return false;
  }
  return true;
}

}  // namespace

Packed pack_blocks(const uint8_t *blocks, size_t length) {
  return Packer(blocks, length).pack();
}

bool unpack_blocks(const uint8_t *packed, size_t packed_length, uint8_t *blocks, size_t length) {
  ByteReader reader(packed, packed_length);
  size_t offset = 0;
  while (reader.left() > 0)
    if (!unpack_group(reader, blocks, length, &offset)) return false;
  return reader.ok() && offset == length;
}

}  // namespace qom
