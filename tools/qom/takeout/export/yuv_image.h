// Pictures as most films hold them.
#pragma once

#include <cstdint>
#include <vector>

#include "qom/picture.h"
#include "rgb_image.h"

namespace qomtool {

// Luma of every pixel, then the two chromas of every four, 8 bits each: BT.709 in its limited range
// (yuv420p).
class YuvImage {
 public:
  // Black; both sides are even.
  explicit YuvImage(PictureSize size);

  // Takes over a rectangle of a picture of the same size.
  void take(const RgbImage &picture, const QomRectangle &area);

  const std::vector<uint8_t> &bytes() const { return bytes_; }

 private:
  uint8_t *chroma(uint32_t plane, uint32_t row);

  PictureSize size_;
  std::vector<uint8_t> bytes_;
};

}  // namespace qomtool
