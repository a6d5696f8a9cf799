#include "packing.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "bytes.h"
#include "residuals.h"

namespace qom {
namespace {

constexpr size_t head_bytes = 8;  // of a block: x, y, width, height

// How the pixels of a group of blocks are stored.
enum Method : uint8_t { few_colours = 1, many_colours = 2, residuals = 3 };

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

  bool pack(Packed *packed) {
    if (!find_blocks() || !indices_.resize(most_pixels_)) return false;
    for (const Block &block : list_)
      if (!add(block)) return false;
    return write_group() && write(packed);
  }

 private:
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
    Method method = residuals;
    Palette palette;
    if (palette.index(pixels, block.pixels(), most_few, indices_.data())) {
      method = few_colours;
    } else {
      palette.clear();
      if (palette.index(pixels, block.pixels(), most, indices_.data())) method = many_colours;
    }
    if (method != residuals || method_ != residuals || full()) {
      if (!write_group()) return false;
      method_ = method;
      palette_ = palette;
      if (method == residuals) palette_.clear();
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
    if (method_ != residuals) return keep_indices(block);
    return residuals_.add(blocks_ + block.offset + head_bytes, block.width, block.height);
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
    const size_t colours = method_ == residuals ? 0 : palette_.count();
    const size_t begin = groups_.size();
    const size_t bytes = 4 + head_bytes * group_.size() + 4 * colours + group_data_.size();
    if (!groups_.resize(begin + bytes)) return false;
    ByteWriter writer(groups_.data() + begin);
    writer.put(method_)
        .put(static_cast<uint8_t>(colours ? colours - 1 : 0))
        .put(static_cast<uint16_t>(group_.size()));
    for (const Block &block : group_) writer.put_bytes(blocks_ + block.offset, head_bytes);
    writer.put_bytes(palette_.colours(), 4 * colours);
    writer.put_bytes(group_data_.data(), group_data_.size());
    group_.clear();
    group_data_.clear();
    return true;
  }

  bool write(Packed *packed) const {
    const size_t bytes = residuals_.bytes() + groups_.size();
    if (bytes > most_packed(length_) || !packed->bytes.resize(bytes)) return false;
    std::memcpy(packed->bytes.data() + residuals_.bytes(), groups_.data(), groups_.size());
    packed->photographic = residuals_.bytes() > bytes / 2;
    return residuals_.write(packed->bytes.data(), &packed->seams);
  }

  const uint8_t *blocks_;
  size_t length_;
  Array<Block> list_;
  size_t most_pixels_ = 0;

  Method method_ = residuals;  // of the group
  Palette palette_;
  Array<Block> group_;
  Array<uint8_t> group_data_;
  Array<uint8_t> indices_;  // of the pixels of one block

  ResidualPacker residuals_;
  Array<uint8_t> groups_;  // as they will follow the residuals
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

// One group. Indices without a colour in the palette give zero pixels.
bool unpack_group(ByteReader &packed, ResidualReader *residual_reader, uint8_t *blocks,
                  size_t length, size_t *offset) {
  const auto method = packed.get<uint8_t>();
  const size_t colours = size_t{packed.get<uint8_t>()} + 1;
  const auto count = packed.get<uint16_t>();
  const uint8_t *heads = packed.take(head_bytes * count);
  if (!heads || count == 0) return false;
  uint32_t palette[most_many] = {};
  if (method != residuals) {
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
                          : method == residuals
                              ? residual_reader->unpack(block.width, block.height, to)
                              : false;
    if (!unpacked) return false;
  }
  return true;
}

}  // namespace

bool pack_blocks(const uint8_t *blocks, size_t length, Packed *packed) {
  return Packer(blocks, length).pack(packed);
}

bool unpack_blocks(const uint8_t *packed, size_t packed_length, uint8_t *blocks, size_t length) {
  ByteReader reader(packed, packed_length);
  ResidualReader residual_reader;
  if (!residual_reader.open(reader)) return false;
  size_t offset = 0;
  while (reader.left() > 0)
    if (!unpack_group(reader, &residual_reader, blocks, length, &offset)) return false;
  return reader.ok() && offset == length && residual_reader.finished();
}

}  // namespace qom
