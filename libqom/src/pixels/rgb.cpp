// Pictures as the bytes that image files and other programs take.
#include <cstddef>
#include <cstring>

#include "pixels/channels.h"
#include "pixels/clones.h"
#include "qom/picture.h"

namespace qom {
namespace {

using pixel::layouts;

template <pixel::Channel from>
uint8_t byte_of(uint32_t value) {
  return static_cast<uint8_t>(pixel::move<from, pixel::Channel{0, 8}>(value));
}

template <PixelFormat format>
QOM_CLONES void row_to_rgb(const uint8_t *row, int32_t count, uint8_t *rgb) {
  for (int32_t i = 0; i < count; ++i, rgb += 3) {
    pixel::Pixel<format> value;
    std::memcpy(&value, row + static_cast<size_t>(i) * sizeof value, sizeof value);
    rgb[0] = byte_of<layouts[format].red>(value);
    rgb[1] = byte_of<layouts[format].green>(value);
    rgb[2] = byte_of<layouts[format].blue>(value);
  }
}

using RowToRgb = void (*)(const uint8_t *row, int32_t count, uint8_t *rgb);

RowToRgb row_to_rgb_of(PixelFormat format) {
  switch (format) {
    case RGB565:
      return row_to_rgb<RGB565>;
    case BGR565:
      return row_to_rgb<BGR565>;
    case xRGB8888:
      return row_to_rgb<xRGB8888>;
    case xBGR8888:
      return row_to_rgb<xBGR8888>;
    default:
      return nullptr;
  }
}

}  // namespace
}  // namespace qom

using namespace qom;

extern "C" void qom_picture_rgb(const QomPicture *picture, QomRectangle area, uint8_t *rgb,
                                size_t stride) {
  const RowToRgb convert = row_to_rgb_of(picture->pixel_format);
  if (!convert) return;
  const size_t pixel = layouts[picture->pixel_format].bits_per_pixel / 8;
  for (int32_t row = 0; row < area.height; ++row)
    convert(picture->pixels + static_cast<size_t>(area.y + row) * picture->stride +
                static_cast<size_t>(area.x) * pixel,
            area.width, rgb + static_cast<size_t>(row) * stride);
}
