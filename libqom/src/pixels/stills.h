// Lossy stills: rectangles of a photograph or a film as baseline JPEG, and back into exactly the
// same pixels on every machine. docs/format.md says which stills are allowed.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/array.h"
#include "qom/qom.h"

namespace qom {

// Formats whose pixels a still can give: 32 bits, without alpha.
inline bool has_stills(PixelFormat format) {
  return format >= xRGB8888 && format <= BGRx8888;
}

// Whether this library was built with the codec of stills.
bool can_still();

// Appends the still of width x height pixels, rows `stride` bytes apart, in a format that
// has_stills(). The quality is 1 to 100. False with the reason when memory is short, or without
// the codec.
bool pack_still(const uint8_t *pixels, size_t stride, unsigned width, unsigned height,
                PixelFormat format, int quality, Array<uint8_t> *still);

// A still that is restored row by row.
class Still {
 public:
  Still() = default;
  ~Still() { close(); }
  Still(const Still &) = delete;
  Still &operator=(const Still &) = delete;

  // Begins with one of exactly width x height pixels, whose bytes must stay. False with the reason
  // when it is none that is allowed, or memory is short.
  bool open(const uint8_t *still, size_t length, unsigned width, unsigned height,
            PixelFormat format);

  // Writes the next rows, `stride` bytes apart; all of them at most once. False with the reason
  // when the still is damaged.
  bool restore(size_t rows, uint8_t *pixels, size_t stride);

  // Looks at what is behind the last row. False with the reason unless it is the end.
  bool finish();

  void close();

 private:
  struct Decoder;
  Decoder *decoder_ = nullptr;  // none: it is not open
};

}  // namespace qom
