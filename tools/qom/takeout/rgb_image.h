// Pictures as rows of red, green and blue bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "qom/picture.h"

namespace qomtool {

using Colour = std::array<uint8_t, 3>;  // red, green, blue

struct PictureSize {
  uint32_t width;  // pixels
  uint32_t height;
};

// The largest picture that is made: sides up to QOM_MAX_SIDE, as many pixels as a recorded screen.
bool is_allowed(PictureSize size);

// Rows from the top without padding.
struct RgbImage {
  explicit RgbImage(PictureSize of, Colour colour = {});

  uint8_t *row(uint32_t y) { return pixels.data() + size_t{y} * size.width * 3; }
  const uint8_t *row(uint32_t y) const { return pixels.data() + size_t{y} * size.width * 3; }

  PictureSize size;
  std::vector<uint8_t> pixels;
};

RgbImage rgb_of(const QomPicture &picture);

// Copies a picture into a larger one, all of it.
void place(const RgbImage &picture, uint32_t x, uint32_t y, RgbImage *onto);

}  // namespace qomtool
