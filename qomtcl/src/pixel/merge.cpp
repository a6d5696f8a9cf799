#include "pixel/merge.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstring>

#include "pixel/channels.h"

/* clang 14 cannot clone templates. */
#if defined(__x86_64__) && !defined(__clang__)
#define QOM_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define QOM_CLONES
#endif

std::uint8_t scanline_pad;

namespace {

using pixel::layouts;
using pixel::Pixel;

/* Pixels of a clipped rectangle; `stride` is the distance of its rows in pixels. */
template <class Type>
struct Rows {
  Type *first;
  std::size_t stride;

  Type *operator[](std::size_t row) const { return first + row * stride; }
};

struct Extent {
  std::size_t width, height; /* pixels, neither is 0 */
};

/* In pieces, because memcpy() of whole rows uses string instructions, which on some processors
   are slow when source and target lie at like places of their pages, as two frames do. */
template <class Type>
void rows_copy(Rows<const Type> source, Rows<Type> target, Extent extent) {
  constexpr std::size_t piece = 64 / sizeof(Type);
  const std::size_t rest = extent.width % piece;
  for (std::size_t row = 0; row < extent.height; ++row) {
    const Type *read = source[row];
    Type *write = target[row];
    for (const Type *end = read + extent.width - rest; read != end; read += piece, write += piece)
      std::memcpy(write, read, piece * sizeof(Type));
    std::memcpy(write, read, rest * sizeof(Type));
  }
}

/* Not for wider vectors: they would gather, which is slower than single loads. */
void rows_look_up(const std::uint32_t *colours, Rows<const std::uint8_t> source,
                  Rows<std::uint32_t> target, Extent extent) {
  for (std::size_t row = 0; row < extent.height; ++row) {
    const std::uint8_t *__restrict read = source[row];
    std::uint32_t *__restrict write = target[row];
    for (std::size_t i = 0; i < extent.width; ++i) write[i] = colours[read[i]];
  }
}

template <PixelFormat source_format, PixelFormat target_format>
QOM_CLONES void rows_convert(Rows<const Pixel<source_format>> source,
                             Rows<Pixel<target_format>> target, Extent extent) {
  for (std::size_t row = 0; row < extent.height; ++row) {
    const Pixel<source_format> *__restrict read = source[row];
    Pixel<target_format> *__restrict write = target[row];
    for (std::size_t i = 0; i < extent.width; ++i)
      write[i] = pixel::convert<source_format, target_format>(read[i]);
  }
}

template <PixelFormat source_format, PixelFormat target_format>
void rows_merge(Rows<const Pixel<source_format>> source, Rows<Pixel<target_format>> target,
                Extent extent) {
  if constexpr (source_format == target_format)
    rows_copy<Pixel<target_format>>(source, target, extent);
  else if constexpr (source_format == PALETTE8)
    rows_look_up(palette_pixels(target_format), source, target, extent);
  else
    rows_convert<source_format, target_format>(source, target, extent);
}

/* Where the clipped rectangle starts in the source: what was cut away at the left and at
   the top is passed over. */
template <PixelFormat format>
Rows<const Pixel<format>> source_rows(const QomImage *from, const XRectangle &clip) {
  constexpr std::uint8_t bits = layouts[format].bits_per_pixel;
  const std::size_t stride =
      bits == 32 ? from->width
                 : stride_in_bytes(from->width, bits, scanline_pad) / sizeof(Pixel<format>);
  const Rows<const Pixel<format>> rows = {reinterpret_cast<const Pixel<format> *>(from->data),
                                          stride};
  return {rows[clip.y - from->y] + (clip.x - from->x), stride};
}

template <PixelFormat format>
Rows<Pixel<format>> target_rows(XImage *to, const XRectangle &clip) {
  const Rows<Pixel<format>> rows = {reinterpret_cast<Pixel<format> *>(to->data),
                                    to->bytes_per_line / sizeof(Pixel<format>)};
  return {rows[clip.y] + clip.x, rows.stride};
}

template <PixelFormat format>
void masks_check([[maybe_unused]] const XImage *to) {
  [[maybe_unused]] constexpr unsigned long rm = pixel::mask(layouts[format].red);
  [[maybe_unused]] constexpr unsigned long gm = pixel::mask(layouts[format].green);
  [[maybe_unused]] constexpr unsigned long bm = pixel::mask(layouts[format].blue);
  assert(to->red_mask == rm);
  assert(to->green_mask == gm);
  assert(to->blue_mask == bm);
}

/* In int, so that no sum wraps; what remains after clipping fits the rectangle. */
inline XRectangle intersection(const QomImage *from, const XImage *to) {
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

template <PixelFormat source_format, PixelFormat target_format>
void merge(const QomImage *from, XImage *to) {
  assert(from != 0);
  assert(to != 0);
  const XRectangle clip = intersection(from, to);
  /* Functions that keep the width of the pixel also serve the reversed channel orders. */
  if constexpr (layouts[source_format].bits_per_pixel != layouts[target_format].bits_per_pixel)
    masks_check<target_format>(to);
  if (clip.width == 0 || clip.height == 0) return;
  rows_merge<source_format, target_format>(source_rows<source_format>(from, clip),
                                           target_rows<target_format>(to, clip),
                                           {clip.width, clip.height});
}

bool reaches_past(const QomImage *from, const XImage *to) {
  return from->x + from->width > to->width || from->y + from->height > to->height;
}

}  // namespace

XRectangle rectangle_from_image_intersection(const QomImage *from, const XImage *to) {
  return intersection(from, to);
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
