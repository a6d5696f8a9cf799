// Rectangles of 32-bit pixels as residuals: what has to be added, byte by byte, to a pixel
// predicted from its neighbours. In cells of few pixels as many bits are kept of each as the
// largest needs. The bytes are described in docs/format.md; they are restored in strip_unpacking.h.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/array.h"
#include "pixels/strip_form.h"

namespace qom {

// Collects rectangles, and writes the residuals of all of them.
class StripPacker {
 public:
  // Takes in the pixels of a rectangle, `stride` bytes from a row to the next. False when memory is
  // short.
  bool add(const uint8_t *pixels, size_t stride, size_t width, size_t height);

  // Whether nothing was added.
  bool empty() const { return streams_[strip_colours].empty(); }

  // The bytes that write() writes.
  size_t bytes() const;

  // Writes what was added, and adds the positions at which bytes of another kind begin. False when
  // memory is short.
  bool write(uint8_t *to, Array<size_t> *seams) const;

 private:
  struct Strip;

  void add_strip(const Strip &strip);
  uint8_t add_cells(const Strip &strip, size_t plane, size_t cell);

  Array<uint8_t> streams_[strip_streams];
};

}  // namespace qom
