// Rectangles of 32-bit pixels restored from residuals; docs/format.md describes them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "base/used_up.h"
#include "pixels/strip_form.h"

namespace qom {

// Restores rectangles in the order in which they were added.
class StripReader {
 public:
  // Takes what StripPacker::write() has written, which must outlive the reader. With `use_up` its
  // memory is given back as it is read. False when it is not all there.
  bool open(ByteReader &packed, bool use_up);

  // Restores rows of pixels, at least one, `stride` bytes from a row to the next: those of the next
  // rectangle from its top on, or those below the rows that came last. But for the last ones of the
  // rectangle they are a multiple of cell_height. False, with other pixels in their place, when
  // the bytes are not what packing makes.
  bool unpack(size_t width, size_t rows, uint8_t *pixels, size_t stride, bool below);

  // Whether no residual is left.
  bool finished() const { return std::equal(next_, next_ + strip_streams, end_); }

 private:
  struct Strip;

  bool read(Strip *strip);
  bool read_cell(Strip *strip, size_t plane, size_t cell, unsigned depth);
  void give_back();

  bool uses_up_ = false;
  size_t kept_ = 0;  // pixels that were read since memory was last given back
  UsedUp used_up_[strip_streams];
  const uint8_t *next_[strip_streams];
  const uint8_t *end_[strip_streams];
};

}  // namespace qom
