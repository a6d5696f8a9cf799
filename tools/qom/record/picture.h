// The last picture of the recorded display, and what a newly grabbed part changed in it.
#ifndef QOM_RECORD_PICTURE_H
#define QOM_RECORD_PICTURE_H

#include <cstdint>
#include <vector>

#include "cell_map.h"
#include "pixel_layout.h"
#include "rectangle.h"

namespace qom::record {

// Changes are recorded in cells of this size, pixels: a row of one is a cache line of 32-bit
// pixels.
inline constexpr int fine_width = 16;
inline constexpr int fine_height = 8;

// Pixels of a part of the display, in the display's format. Not owned.
struct Grab {
  Rectangle area;         // display coordinates
  const uint8_t *pixels;  // rows from the top
  size_t stride;          // bytes from row to row
};

// Pixels of a picture that also stand at another place of it, from where they may be overlapped.
struct Copy {
  Rectangle from;
  int to_x;  // of the left top corner
  int to_y;

  Rectangle to() const { return {to_x, to_y, from.width, from.height}; }
};

// Pixels are held in the display's format, with only those bits set that the recording keeps: what
// the recording could not show is no change.
class Picture {
 public:
  // A black picture of width x height pixels.
  Picture(int width, int height, PixelFormat display, PixelFormat recording);

  int width() const { return width_; }
  int height() const { return height_; }

  // The held pixels as they lie in memory: what is there from a place on, bytes from row to row and
  // of a pixel, and the bits of a grabbed pixel that are held.
  const uint8_t *pixels(int x, int y) const {
    return pixels_.data() + y * stride_ + x * pixel_bytes_;
  }
  size_t stride() const { return stride_; }
  size_t pixel_bytes() const { return pixel_bytes_; }
  uint32_t mask() const { return mask_; }

  // Takes over the grabbed pixels and marks the cells of `changed` where one differs. The grab's
  // left and top lie on cell borders, its right and bottom too or at the picture's edge.
  void update(const Grab &grab, CellMap &changed);

  // Copies pixels of the picture to another place of it; both places lie inside. What they overlap
  // in is read before it is overwritten.
  void copy(const Copy &copy);

  // Bytes of `area` in the recording's format, rows padded as stride_in_bytes() says.
  size_t encoded_size(const Rectangle &area) const;

  // Writes them; `to` has encoded_size() bytes.
  void encode(const Rectangle &area, uint8_t *to) const;

 private:
  template <class Pixel>
  void update_pixels(const Grab &grab, CellMap &changed);
  uint32_t encoded_stride(int width) const;

  int width_;
  int height_;
  PixelFormat recording_;
  size_t pixel_bytes_;
  size_t stride_;
  uint32_t mask_;
  RowConverter convert_;
  bool same_format_;
  std::vector<uint8_t> pixels_;
};

// Row padding of the recorder's images, bits.
inline constexpr uint8_t recorded_scanline_pad = 32;

}  // namespace qom::record

#endif
