// Rectangles of 32-bit pixels restored from residuals that are sorted by how restless the
// neighbours are that a pixel was predicted from, as recordings have them that were made before
// strip_packing.h. The bytes are described in docs/format.md.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "base/used_up.h"

namespace qom {

// How the neighbours of a pixel differ: hardly, somewhat, much.
constexpr size_t residual_kinds = 3;
constexpr size_t residual_planes = 4;

// Restores rectangles in the order in which they were added.
class ResidualReader {
 public:
  // Takes residuals as they begin packed bytes, which must outlive the reader. With `use_up`
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
