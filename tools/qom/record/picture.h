// The last picture of the recorded display, and what a newly grabbed part changed in it.
#ifndef QOM_RECORD_PICTURE_H
#define QOM_RECORD_PICTURE_H

#include <cstdint>
#include <vector>

#include "cell_map.h"
#include "pixel_layout.h"
#include "rectangle.h"

namespace qom::record {

// Pixels of a part of the display, in the display's format. Not owned.
struct Grab {
  Rectangle area;         // display coordinates
  const uint8_t *pixels;  // rows from the top
  size_t stride;          // bytes from row to row
};

// Pixels are held in the display's format, with only those bits set that the recording keeps: what
// the recording could not show is no change.
class Picture {
 public:
  // A black picture of width x height pixels.
  Picture(int width, int height, PixelFormat display, PixelFormat recording);

  int width() const { return width_; }
  int height() const { return height_; }

  // Takes over the grabbed pixels and marks the cells of `changed` where one differs. The grab's
  // left and top lie on cell borders, its right and bottom too or at the picture's edge.
  void update(const Grab &grab, CellMap &changed);

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
