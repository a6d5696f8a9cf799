// A cursor over a picture.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "pixels/channels.h"
#include "qom/picture.h"

namespace qom {
namespace {

constexpr unsigned blend_bits = 8;  // of a channel while it is blended

uint32_t widened(uint32_t value, unsigned bits) {
  return value << (blend_bits - bits) | value >> (2 * bits - blend_bits);
}

uint32_t blend_channel(pixel::Channel channel, uint32_t colour, uint32_t alpha, uint32_t picture) {
  const uint32_t largest = (1U << channel.bits) - 1U;
  const uint32_t below = widened(picture >> channel.shift & largest, channel.bits);
  const uint32_t sum = colour + (below * (255 - alpha) + 127) / 255;
  return (sum & 0xFF) >> (blend_bits - channel.bits) << channel.shift;
}

uint32_t blend_pixel(const pixel::Layout &layout, uint32_t cursor, uint32_t picture) {
  const uint32_t alpha = cursor >> 24;
  return blend_channel(layout.red, cursor >> 16 & 0xFF, alpha, picture) |
         blend_channel(layout.green, cursor >> 8 & 0xFF, alpha, picture) |
         blend_channel(layout.blue, cursor & 0xFF, alpha, picture);
}

template <typename Pixel>
void blend_row(const pixel::Layout &layout, const uint8_t *cursor, int count, uint8_t *row) {
  for (int i = 0; i < count; ++i) {
    uint32_t over;
    std::memcpy(&over, cursor + static_cast<size_t>(i) * sizeof over, sizeof over);
    Pixel below;
    std::memcpy(&below, row + static_cast<size_t>(i) * sizeof below, sizeof below);
    below = static_cast<Pixel>(blend_pixel(layout, over, below));
    std::memcpy(row + static_cast<size_t>(i) * sizeof below, &below, sizeof below);
  }
}

void area_copy(const QomPicture *picture, const QomRectangle &area, size_t pixel,
               const QomPicture *copy) {
  for (int32_t row = 0; row < area.height; ++row) {
    const uint8_t *from = picture->pixels + static_cast<size_t>(area.y + row) * picture->stride +
                          static_cast<size_t>(area.x) * pixel;
    uint8_t *to = copy->pixels + static_cast<size_t>(row) * copy->stride;
    if (from != to) std::memcpy(to, from, static_cast<size_t>(area.width) * pixel);
  }
}

}  // namespace
}  // namespace qom

using namespace qom;

extern "C" void qom_picture_blend(const QomPicture *picture, const QomCursorImage *cursor,
                                  int32_t x, int32_t y, QomRectangle area,
                                  const QomPicture *blended) {
  const pixel::Layout &layout = pixel::layouts[picture->pixel_format];
  const size_t pixel = layout.bits_per_pixel / 8;
  area_copy(picture, area, pixel, blended);
  // From here on the origin is the area's corner.
  const int64_t left = int64_t{x} - area.x;
  const int64_t top = int64_t{y} - area.y;
  const int64_t first = std::max<int64_t>(0, left);
  const int64_t last = std::min<int64_t>(area.width, left + cursor->width);
  const int64_t bottom = std::min<int64_t>(area.height, top + cursor->height);
  if (first >= last) return;
  for (int64_t row = std::max<int64_t>(0, top); row < bottom; ++row) {
    const uint8_t *over = cursor->data + (static_cast<size_t>(row - top) * cursor->width +
                                          static_cast<size_t>(first - left)) *
                                             sizeof(uint32_t);
    uint8_t *below = blended->pixels + static_cast<size_t>(row) * blended->stride +
                     static_cast<size_t>(first) * pixel;
    const int count = static_cast<int>(last - first);
    if (pixel == 2)
      blend_row<uint16_t>(layout, over, count, below);
    else
      blend_row<uint32_t>(layout, over, count, below);
  }
}
