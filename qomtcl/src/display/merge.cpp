#include "display/merge.h"

#include <qom/picture.h>

#include <algorithm>
#include <cassert>

#include "display/palette.h"
#include "pixels/channels.h"

std::uint8_t scanline_pad;

namespace {

using qom::pixel::layouts;

template <PixelFormat format>
void masks_check([[maybe_unused]] const XImage *to) {
  [[maybe_unused]] constexpr unsigned long rm = qom::pixel::mask(layouts[format].red);
  [[maybe_unused]] constexpr unsigned long gm = qom::pixel::mask(layouts[format].green);
  [[maybe_unused]] constexpr unsigned long bm = qom::pixel::mask(layouts[format].blue);
  assert(to->red_mask == rm);
  assert(to->green_mask == gm);
  assert(to->blue_mask == bm);
}

/* Pictures of a palette are 32-bit ones. */
template <PixelFormat source_format, PixelFormat target_format>
const std::uint32_t *colours() {
  if constexpr (source_format == PALETTE8)
    return palette_pixels(target_format);
  else
    return nullptr;
}

template <PixelFormat source_format, PixelFormat target_format>
void merge(const QomImage *from, XImage *to) {
  assert(from != 0);
  assert(to != 0);
  /* Functions that keep the width of the pixel also serve the reversed channel orders. */
  if constexpr (layouts[source_format].bits_per_pixel != layouts[target_format].bits_per_pixel)
    masks_check<target_format>(to);
  const QomPicture picture = picture_of_ximage(to, target_format);
  qom_picture_merge(&picture, from, source_format, scanline_pad,
                    colours<source_format, target_format>());
}

bool reaches_past(const QomImage *from, const XImage *to) {
  return from->x + from->width > to->width || from->y + from->height > to->height;
}

}  // namespace

QomPicture picture_of_ximage(const XImage *image, PixelFormat format) {
  return {static_cast<uint16_t>(image->width), static_cast<uint16_t>(image->height), format,
          static_cast<size_t>(image->bytes_per_line), reinterpret_cast<uint8_t *>(image->data)};
}

/* In int, so that no sum wraps; what remains after clipping fits the rectangle. */
XRectangle rectangle_from_image_intersection(const QomImage *from, const XImage *to) {
  const int right = from->x + from->width;
  const int bottom = from->y + from->height;
  if (right < 0 || from->x > to->width || bottom < 0 || from->y > to->height) return {};
  const int left = std::max<int>(from->x, 0);
  const int top = std::max<int>(from->y, 0);
  const int width = std::max(std::min(right, to->width) - left, 0);
  const int height = std::max(std::min(bottom, to->height) - top, 0);
  return {static_cast<short>(left), static_cast<short>(top), static_cast<unsigned short>(width),
          static_cast<unsigned short>(height)};
}

// clang-format off
void merge_P8_into_xRGB8888(const QomImage *from, XImage *to) { merge<PALETTE8, xRGB8888>(from, to); }
void merge_P8_into_xBGR8888(const QomImage *from, XImage *to) { merge<PALETTE8, xBGR8888>(from, to); }
void merge_RGB332_into_xRGB8888(const QomImage *from, XImage *to) { merge<RGB332, xRGB8888>(from, to); }
void merge_RGB332_into_xBGR8888(const QomImage *from, XImage *to) { merge<RGB332, xBGR8888>(from, to); }
void merge_BGR233_into_xRGB8888(const QomImage *from, XImage *to) { merge<BGR233, xRGB8888>(from, to); }
void merge_BGR233_into_xBGR8888(const QomImage *from, XImage *to) { merge<BGR233, xBGR8888>(from, to); }
void merge_RGB565_into_xRGB8888(const QomImage *from, XImage *to) { merge<RGB565, xRGB8888>(from, to); }
void merge_RGB565_into_xBGR8888(const QomImage *from, XImage *to) { merge<RGB565, xBGR8888>(from, to); }
void merge_BGR565_into_xRGB8888(const QomImage *from, XImage *to) { merge<BGR565, xRGB8888>(from, to); }
void merge_BGR565_into_xBGR8888(const QomImage *from, XImage *to) { merge<BGR565, xBGR8888>(from, to); }
void merge_RGB565_into_RGB565(const QomImage *from, XImage *to) { merge<RGB565, RGB565>(from, to); }
void merge_RGB565_into_BGR565(const QomImage *from, XImage *to) { merge<RGB565, BGR565>(from, to); }
void merge_xRGB8888_into_RGB565(const QomImage *from, XImage *to) { merge<xRGB8888, RGB565>(from, to); }
void merge_xRGB8888_into_BGR565(const QomImage *from, XImage *to) { merge<xRGB8888, BGR565>(from, to); }
void merge_xBGR8888_into_RGB565(const QomImage *from, XImage *to) { merge<xBGR8888, RGB565>(from, to); }
void merge_xBGR8888_into_BGR565(const QomImage *from, XImage *to) { merge<xBGR8888, BGR565>(from, to); }
void merge_xRGB8888_into_xBGR8888(const QomImage *from, XImage *to) { merge<xRGB8888, xBGR8888>(from, to); }
void merge_RGBx8888_into_xRGB8888(const QomImage *from, XImage *to) { merge<RGBx8888, xRGB8888>(from, to); }
void merge_RGBx8888_into_xBGR8888(const QomImage *from, XImage *to) { merge<RGBx8888, xBGR8888>(from, to); }
// clang-format on

MergeFunction merge_without_report(MergeFunction merge_function) {
  return merge_function == merge_xRGB8888_into_xRGB8888 ? merge<xRGB8888, xRGB8888>
                                                        : merge_function;
}

void merge_xRGB8888_into_xRGB8888(const QomImage *from, XImage *to) {
  assert(from != 0);
  assert(to != 0);
  if (reaches_past(from, to)) qom_record_dump(from);
  merge<xRGB8888, xRGB8888>(from, to);
}
