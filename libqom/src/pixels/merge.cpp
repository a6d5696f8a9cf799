// Rectangles of a recording copied into a picture, converted.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <utility>

#include "pixels/channels.h"
#include "pixels/clones.h"
#include "qom/picture.h"

namespace qom {
namespace {

using pixel::layouts;
using pixel::Pixel;

// Pixels of a clipped rectangle; `stride` is the distance of its rows in pixels.
template <class Type>
struct Rows {
  Type *first;
  size_t stride;

  Type *operator[](size_t row) const { return first + row * stride; }
};

struct Extent {
  size_t width, height;  // pixels, neither is 0
};

// In pieces, because memcpy() of whole rows uses string instructions, which on some processors
// are slow when source and target lie at like places of their pages, as two frames do.
template <class Type>
void rows_copy(Rows<const Type> source, Rows<Type> target, Extent extent) {
  constexpr size_t piece = 64 / sizeof(Type);
  const size_t rest = extent.width % piece;
  for (size_t row = 0; row < extent.height; ++row) {
    const Type *read = source[row];
    Type *write = target[row];
    for (const Type *end = read + extent.width - rest; read != end; read += piece, write += piece)
      std::memcpy(write, read, piece * sizeof(Type));
    std::memcpy(write, read, rest * sizeof(Type));
  }
}

// Not for wider vectors: they would gather, which is slower than single loads.
template <class Type>
void rows_look_up(const uint32_t *colours, Rows<const uint8_t> source, Rows<Type> target,
                  Extent extent) {
  for (size_t row = 0; row < extent.height; ++row) {
    const uint8_t *__restrict read = source[row];
    Type *__restrict write = target[row];
    for (size_t i = 0; i < extent.width; ++i) write[i] = static_cast<Type>(colours[read[i]]);
  }
}

template <PixelFormat source_format, PixelFormat target_format>
QOM_CLONES void rows_convert(Rows<const Pixel<source_format>> source,
                             Rows<Pixel<target_format>> target, Extent extent) {
  for (size_t row = 0; row < extent.height; ++row) {
    const Pixel<source_format> *__restrict read = source[row];
    Pixel<target_format> *__restrict write = target[row];
    for (size_t i = 0; i < extent.width; ++i)
      write[i] = pixel::convert<source_format, target_format>(read[i]);
  }
}

// What a conversion is told of the two sides; strides in bytes.
struct Transfer {
  const uint8_t *source;
  size_t source_stride;
  uint8_t *target;
  size_t target_stride;
  Extent extent;
  const uint32_t *palette;
};

template <PixelFormat source_format, PixelFormat target_format>
void transfer(const Transfer &t) {
  using Source = Pixel<source_format>;
  using Target = Pixel<target_format>;
  const Rows<const Source> source = {reinterpret_cast<const Source *>(t.source),
                                     t.source_stride / sizeof(Source)};
  const Rows<Target> target = {reinterpret_cast<Target *>(t.target),
                               t.target_stride / sizeof(Target)};
  if constexpr (source_format == target_format)
    rows_copy<Target>(source, target, t.extent);
  else if constexpr (source_format == PALETTE8)
    rows_look_up<Target>(t.palette, source, target, t.extent);
  else
    rows_convert<source_format, target_format>(source, target, t.extent);
}

using TransferFunction = void (*)(const Transfer &);

constexpr size_t source_count = BGRx8888 + 1;
using TransferRow = std::array<TransferFunction, source_count>;

template <PixelFormat target, size_t... source>
constexpr TransferRow transfers_into(std::index_sequence<source...>) {
  return {nullptr, transfer<static_cast<PixelFormat>(source + 1), target>...};
}

template <PixelFormat target>
constexpr TransferRow transfers =
    transfers_into<target>(std::make_index_sequence<source_count - 1>());

// Null when there is none.
TransferFunction transfer_between(PixelFormat from, PixelFormat to) {
  if (static_cast<unsigned>(from) >= source_count) return nullptr;
  switch (to) {
    case RGB565:
      return transfers<RGB565>[from];
    case BGR565:
      return transfers<BGR565>[from];
    case xRGB8888:
      return transfers<xRGB8888>[from];
    case xBGR8888:
      return transfers<xBGR8888>[from];
    default:
      return nullptr;
  }
}

// Rows of 32-bit pixels are never padded; others in whole pixels.
size_t source_stride(const QomImage *image, PixelFormat from, uint8_t scanline_pad) {
  const unsigned bits = layouts[from].bits_per_pixel;
  if (bits == 32) return size_t{image->width} * 4;
  const size_t pixel = bits / 8;
  return stride_in_bytes(image->width, static_cast<uint8_t>(bits), scanline_pad) / pixel * pixel;
}

uint32_t colour(uint16_t value, pixel::Channel to) {
  const uint32_t eight = value & 0xFFu;
  return (to.bits < 8 ? eight >> (8 - to.bits) : eight) << to.shift;
}

}  // namespace
}  // namespace qom

using namespace qom;

extern "C" {

int qom_picture_converts(PixelFormat from, PixelFormat to) {
  return transfer_between(from, to) != nullptr;
}

QomRectangle qom_picture_clip(const QomPicture *picture, const QomImage *image) {
  const int32_t left = std::max<int32_t>(image->x, 0);
  const int32_t top = std::max<int32_t>(image->y, 0);
  const int32_t right = std::min<int32_t>(image->x + image->width, picture->width);
  const int32_t bottom = std::min<int32_t>(image->y + image->height, picture->height);
  if (right <= left || bottom <= top) return {0, 0, 0, 0};
  return {left, top, right - left, bottom - top};
}

void qom_picture_merge(const QomPicture *picture, const QomImage *image, PixelFormat from,
                       uint8_t scanline_pad, const uint32_t *palette) {
  const QomRectangle clip = qom_picture_clip(picture, image);
  const TransferFunction function = transfer_between(from, picture->pixel_format);
  if (clip.width == 0 || !function) return;
  const size_t source_pixel = layouts[from].bits_per_pixel / 8;
  const size_t target_pixel = layouts[picture->pixel_format].bits_per_pixel / 8;
  Transfer t;
  t.source_stride = source_stride(image, from, scanline_pad);
  // What was cut away at the left and at the top is passed over in the source too.
  t.source = image->data + static_cast<size_t>(clip.y - image->y) * t.source_stride +
             static_cast<size_t>(clip.x - image->x) * source_pixel;
  t.target_stride = picture->stride;
  t.target = picture->pixels + static_cast<size_t>(clip.y) * picture->stride +
             static_cast<size_t>(clip.x) * target_pixel;
  t.extent = {static_cast<size_t>(clip.width), static_cast<size_t>(clip.height)};
  t.palette = palette;
  function(t);
}

void qom_palette_pixels(const QomHeader *header, PixelFormat to, uint32_t *pixels) {
  const size_t size =
      header->palette ? std::min<size_t>(header->palette_size, QOM_PALETTE_SIZE) : 0;
  const bool known = static_cast<unsigned>(to) < std::size(layouts);
  for (size_t i = 0; i < QOM_PALETTE_SIZE; ++i) {
    pixels[i] = 0;
    if (i >= size || !known) continue;
    const RgbValue &entry = header->palette[i];
    pixels[i] = colour(entry.red, layouts[to].red) | colour(entry.green, layouts[to].green) |
                colour(entry.blue, layouts[to].blue);
  }
}

}  // extern "C"
