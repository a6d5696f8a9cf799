#include "pixels/packing.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "base/bytes.h"
#include "pixels/packed_form.h"
#include "pixels/strip_packing.h"

namespace qom {
namespace {

// Blocks with more colours than one in so many pixels look like a photograph.
constexpr size_t pixels_per_colour = 16;

// Bytes that say that there are none of any kind.
constexpr size_t no_residuals = 12;

struct Block {
  BlockHead head;
  const uint8_t *pixels;
  size_t stride;  // bytes from a row to the next

  const uint8_t *row(size_t y) const { return pixels + y * stride; }
};

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
  bool index(const Block &block, size_t limit, uint8_t *indices) {
    uint32_t last = 0;
    int last_index = -1;
    for (size_t y = 0; y < block.head.height; ++y) {
      const uint8_t *row = block.row(y);
      for (size_t x = 0; x < block.head.width; ++x) {
        const uint32_t pixel = load<uint32_t>(row + 4 * x);
        if (pixel != last || last_index < 0) {
          last_index = find_or_add(pixel, limit);
          if (last_index < 0) return false;
          last = pixel;
        }
        *indices++ = static_cast<uint8_t>(last_index);
      }
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
  bool add_blocks(const uint8_t *blocks, size_t length) {
    length_ = length;
    size_t offset = 0;
    while (length - offset > sizeof(BlockHead)) {
      const auto head = load<BlockHead>(blocks + offset);
      offset += sizeof head;
      if (head.pixels() == 0 || head.pixels() > (length - offset) / 4) return false;
      if (!list_.push({head, blocks + offset, 4 * size_t{head.width}})) return false;
      offset += 4 * head.pixels();
    }
    return offset == length && !list_.empty();
  }

  bool add_image(const uint8_t *pixels, unsigned width, unsigned height) {
    const size_t stride = 4 * size_t{width};
    length_ = stride * height;
    for (Tiles tiles(width, height); !tiles.finished();) {
      const BlockHead tile = tiles.next();
      const size_t x = static_cast<size_t>(tile.x);
      const size_t y = static_cast<size_t>(tile.y);
      if (!list_.push({tile, pixels + y * stride + 4 * x, stride})) return false;
    }
    return !list_.empty();
  }

  bool pack(Packed *packed) {
    size_t most_pixels = 0;
    for (const Block &block : list_) most_pixels = std::max(most_pixels, block.head.pixels());
    if (!indices_.resize(most_pixels)) return false;
    for (const Block &block : list_)
      if (!add(block)) return false;
    return write_group() && write(packed);
  }

 private:
  // Joins the block to the group when that needs no other method, else begins a new group.
  bool add(const Block &block) {
    const size_t most = std::min(most_many, block.head.pixels() / pixels_per_colour);
    if (join(block, few_colours, most_few) || join(block, many_colours, most)) return keep(block);
    Method method = residuals;
    Palette palette;
    if (palette.index(block, most_few, indices_.data())) {
      method = few_colours;
    } else {
      palette.clear();
      if (palette.index(block, most, indices_.data())) method = many_colours;
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

  bool join(const Block &block, Method method, size_t most) {
    if (method_ != method || group_.empty() || full()) return false;
    Palette wider = palette_;
    const size_t limit = method == few_colours ? most_few : std::max(most, palette_.count());
    if (!wider.index(block, limit, indices_.data())) return false;
    palette_ = wider;
    return true;
  }

  bool keep(const Block &block) {
    if (!group_.push(block.head)) return false;
    if (method_ != residuals) return keep_indices(block.head);
    return strips_.add(block.pixels, block.stride, block.head.width, block.head.height, false,
                       false);
  }

  // The indices of a group, ready to be written: two in a byte, rows begin a new byte, for few
  // colours.
  bool keep_indices(BlockHead block) {
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
    const size_t colours = palette_.count();
    const size_t begin = groups_.size();
    const size_t bytes = 4 + sizeof(BlockHead) * group_.size() + 4 * colours + group_data_.size();
    if (!groups_.resize(begin + bytes)) return false;
    ByteWriter writer(groups_.data() + begin);
    writer.put(method_)
        .put(static_cast<uint8_t>(colours ? colours - 1 : 0))
        .put(static_cast<uint16_t>(group_.size()));
    writer.put_bytes(group_.data(), sizeof(BlockHead) * group_.size());
    writer.put_bytes(palette_.colours(), 4 * colours);
    writer.put_bytes(group_data_.data(), group_data_.size());
    group_.clear();
    group_data_.clear();
    return true;
  }

  bool write(Packed *packed) const {
    packed->form = strips_.empty() ? PackedForm::kinds : PackedForm::strips;
    packed->strips = strips_.empty() ? 0 : strips_.bytes();
    const size_t front = strips_.empty() ? no_residuals : packed->strips;
    const size_t bytes = front + groups_.size();
    if (bytes > most_packed(length_) || !packed->bytes.resize(bytes)) return false;
    std::memcpy(packed->bytes.data() + front, groups_.data(), groups_.size());
    if (!strips_.empty()) return strips_.write(packed->bytes.data(), &packed->seams);
    std::memset(packed->bytes.data(), 0, front);
    return true;
  }

  Array<Block> list_;
  size_t length_ = 0;  // bytes of all that is packed

  Method method_ = residuals;  // of the group
  Palette palette_;            // empty with residuals
  Array<BlockHead> group_;
  Array<uint8_t> group_data_;
  Array<uint8_t> indices_;  // of the pixels of one block

  StripPacker strips_;
  Array<uint8_t> groups_;  // as they will follow the residuals
};

}  // namespace

bool pack_blocks(const uint8_t *blocks, size_t length, Packed *packed) {
  Packer packer;
  return packer.add_blocks(blocks, length) && packer.pack(packed);
}

bool pack_image(const uint8_t *pixels, unsigned width, unsigned height, Packed *packed) {
  Packer packer;
  return packer.add_image(pixels, width, height) && packer.pack(packed);
}

}  // namespace qom
