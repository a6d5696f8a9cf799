#include "rgb_image.h"

#include <algorithm>

namespace qomtool {

bool is_allowed(PictureSize size) {
  return size.width > 0 && size.height > 0 && size.width <= QOM_MAX_SIDE &&
         size.height <= QOM_MAX_SIDE && uint64_t{size.width} * size.height * 4 <= QOM_MAX_DATA;
}

RgbImage::RgbImage(PictureSize of, Colour colour)
    : size(of), pixels(size_t{of.width} * of.height * 3) {
  if (colour == Colour{}) return;
  for (size_t i = 0; i < pixels.size(); i += 3)
    std::copy(colour.begin(), colour.end(), pixels.begin() + static_cast<ptrdiff_t>(i));
}

RgbImage rgb_of(const QomPicture &picture) {
  RgbImage image({picture.width, picture.height});
  qom_picture_rgb(&picture, {0, 0, picture.width, picture.height}, image.pixels.data(),
                  size_t{picture.width} * 3);
  return image;
}

void place(const RgbImage &picture, uint32_t x, uint32_t y, RgbImage *onto) {
  for (uint32_t row = 0; row < picture.size.height; ++row)
    std::copy_n(picture.row(row), size_t{picture.size.width} * 3,
                onto->row(y + row) + size_t{x} * 3);
}

}  // namespace qomtool
