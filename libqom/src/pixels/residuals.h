// Rectangles of 32-bit pixels as residuals: what has to be added to a pixel predicted from its
// neighbours. The residuals are sorted by how restless those neighbours are, since small and large
// ones compress better apart. The bytes are described in docs/format.md.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "base/array.h"
#include "base/bytes.h"
#include "base/used_up.h"

namespace qom {

// How the neighbours of a pixel differ: hardly, somewhat, much.
constexpr size_t residual_kinds = 3;
constexpr size_t residual_planes = 4;

// Collects rectangles, and writes the residuals of all of them.
class ResidualPacker {
 public:
  // Takes in the pixels of a rectangle, `stride` bytes from a row to the next. False when memory is
  // short.
  bool add(const uint8_t *pixels, size_t stride, uint32_t width, uint32_t height);

  // Writes bytes() bytes for what was added, and adds the positions in them at which bytes of
  // another kind begin. False when memory is short.
  bool write(uint8_t *to, Array<size_t> *seams) const;

  size_t bytes() const;

 private:
  size_t pixels() const;
  bool make_room(size_t width, size_t pixels);
  void add_row(size_t width);

  Array<uint32_t> residuals_[residual_kinds];  // of each pixel, as four bytes

  // Of one row of pixels, with room for one more in front of it: their values, those of the row
  // above, their residuals, and how their neighbours differ in each byte.
  Array<uint32_t> values_;
  Array<uint32_t> above_;
  Array<uint32_t> residual_;
  Array<uint32_t> spread_;
};

// Restores rectangles in the order in which they were added.
class ResidualReader {
 public:
  // Takes what ResidualPacker::write() has written, which must outlive the reader. With `use_up`
  // its memory is given back as it is read. False when it is not all there.
  bool open(ByteReader &packed, bool use_up);

  // Restores rows of pixels, at least one, `stride` bytes from a row to the next: those of the next
  // rectangle from its top on, or those below the row that came last. False, with other pixels in
  // their place, when there are not enough residuals.
  bool unpack(size_t width, size_t rows, uint8_t *pixels, size_t stride, bool below);

  // Whether no residual is left.
  bool finished() const { return std::equal(next_, next_ + residual_kinds, end_); }

 private:
  void give_back();

  size_t plane_bytes_ = 0;
  bool uses_up_ = false;
  size_t kept_ = 0;  // pixels that were read since memory was last given back
  UsedUp used_up_[residual_kinds][residual_planes];
  const uint8_t *next_[residual_kinds];  // in the first plane
  const uint8_t *end_[residual_kinds];
};

}  // namespace qom
