#include "display/cursor_blend.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

namespace {

constexpr unsigned kBits = 8; /* of a channel while it is blended */

BlendChannel blend_channel(unsigned long mask) {
  return {static_cast<unsigned>(std::countr_zero(mask)),
          static_cast<unsigned>(std::popcount(mask))};
}

uint32_t widened(uint32_t value, unsigned bits) {
  return value << (kBits - bits) | value >> (2 * bits - kBits);
}

uint32_t blend_channels(BlendChannel channel, uint32_t colour, uint32_t alpha, uint32_t picture) {
  const uint32_t largest = (1U << channel.bits) - 1U;
  const uint32_t below = widened(picture >> channel.shift & largest, channel.bits);
  const uint32_t sum = colour + (below * (255 - alpha) + 127) / 255;
  return (sum & 0xFF) >> (kBits - channel.bits) << channel.shift;
}

/* Rows of one layout move as bytes. */
void area_copy(const XImage *picture, XRectangle area, XImage *copy) {
  const auto pixel = static_cast<size_t>(picture->bits_per_pixel) / 8;
  for (int row = 0; row < area.height; ++row)
    memcpy(copy->data + static_cast<size_t>(row) * copy->bytes_per_line,
           picture->data + static_cast<size_t>(area.y + row) * picture->bytes_per_line +
               area.x * pixel,
           area.width * pixel);
}

uint32_t cursor_pixel(const QomCursorImage *cursor, int column, int row) {
  uint32_t pixel;
  memcpy(&pixel, cursor->data + (static_cast<size_t>(row) * cursor->width + column) * sizeof pixel,
         sizeof pixel);
  return pixel;
}

}  // namespace

BlendFormat blend_format(unsigned long red_mask, unsigned long green_mask,
                         unsigned long blue_mask) {
  return {blend_channel(red_mask), blend_channel(green_mask), blend_channel(blue_mask)};
}

uint32_t blend_pixel(const BlendFormat &format, uint32_t cursor, uint32_t picture) {
  const uint32_t alpha = cursor >> 24;
  return blend_channels(format.red, cursor >> 16 & 0xFF, alpha, picture) |
         blend_channels(format.green, cursor >> 8 & 0xFF, alpha, picture) |
         blend_channels(format.blue, cursor & 0xFF, alpha, picture);
}

void blend_cursor(const XImage *picture, const QomCursorImage *cursor, int x, int y,
                  XRectangle area, XImage *blended) {
  area_copy(picture, area, blended);
  const BlendFormat format =
      blend_format(picture->red_mask, picture->green_mask, picture->blue_mask);
  /* From here on the origin is the area's corner. */
  const int left = x - area.x;
  const int top = y - area.y;
  const int right = std::min<int>(area.width, left + cursor->width);
  const int bottom = std::min<int>(area.height, top + cursor->height);
  for (int row = std::max(0, top); row < bottom; ++row)
    for (int column = std::max(0, left); column < right; ++column) {
      const auto below = static_cast<uint32_t>(XGetPixel(blended, column, row));
      const uint32_t over = cursor_pixel(cursor, column - left, row - top);
      XPutPixel(blended, column, row, blend_pixel(format, over, below));
    }
}
