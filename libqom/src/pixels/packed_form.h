// What packing.cpp writes and unpacking.cpp reads; docs/format.md describes it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qom {

// Of a block: its place and size in pixels, as it lies in the file.
struct BlockHead {
  int16_t x;
  int16_t y;
  uint16_t width;
  uint16_t height;

  size_t pixels() const { return size_t{width} * height; }
};
static_assert(sizeof(BlockHead) == 8);

// How pixels are packed: as groups of blocks, behind residuals that are sorted by the kind of a
// pixel's neighbours, or lie in strips; or as bands, behind strips.
enum class PackedForm { kinds, strips, bands };

// How the pixels of a group of blocks are stored.
enum Method : uint8_t { few_colours = 1, many_colours = 2, residuals = 3 };

constexpr size_t most_few = 16;
constexpr size_t most_many = 256;
constexpr size_t most_blocks_of_group = 0xFFFF;

// An image is packed as blocks of this size, row by row; the last ones of a row or column are
// smaller.
constexpr unsigned tile_width = 128;
constexpr unsigned tile_height = 64;

// The tiles of an image of width x height pixels, one after the other.
class Tiles {
 public:
  Tiles(unsigned width, unsigned height) : width_(width), height_(height) {}

  bool finished() const { return y_ >= height_; }
  BlockHead next() {
    const BlockHead tile = {static_cast<int16_t>(x_), static_cast<int16_t>(y_),
                            side(width_ - x_, tile_width), side(height_ - y_, tile_height)};
    x_ += tile_width;
    if (x_ >= width_) {
      x_ = 0;
      y_ += tile_height;
    }
    return tile;
  }

 private:
  static uint16_t side(unsigned left, unsigned whole) {
    return static_cast<uint16_t>(left < whole ? left : whole);
  }

  unsigned width_;
  unsigned height_;
  unsigned x_ = 0;
  unsigned y_ = 0;
};

}  // namespace qom
