#include "display/palette.h"

#include <algorithm>
#include <array>
#include <cassert>

#include "qom/picture.h"

namespace {

using Pixels = std::array<std::uint32_t, palette_capacity>;

XColor table[palette_capacity];
std::size_t table_size;
Pixels pixels_xRGB8888;
Pixels pixels_xBGR8888;

/* Of the whole table, whichever recordings have set its entries. */
void pixels_rebuild(Pixels &pixels, PixelFormat to) {
  std::array<RgbValue, palette_capacity> entries;
  std::transform(std::begin(table), std::end(table), entries.begin(), [](const XColor &colour) {
    return RgbValue{colour.red, colour.green, colour.blue, 0};
  });
  QomHeader header{};
  header.palette = entries.data();
  header.palette_size = palette_capacity;
  qom_palette_pixels(&header, to, pixels.data());
}

}  // namespace

constinit const XColor (&palette)[palette_capacity] = table;
constinit const std::size_t &palette_size = table_size;

void palette_set(const QomHeader *header) {
  if (header->palette_size == 0 || !header->palette) return;
  table_size = std::min<std::size_t>(header->palette_size, palette_capacity);
  for (std::size_t i = 0; i < table_size; ++i) {
    const RgbValue &entry = header->palette[i];
    table[i] = {i, entry.red, entry.green, entry.blue, DoRed | DoGreen | DoBlue, 0};
  }
  pixels_rebuild(pixels_xRGB8888, xRGB8888);
  pixels_rebuild(pixels_xBGR8888, xBGR8888);
}

const std::uint32_t *palette_pixels(PixelFormat to) {
  assert((to == xRGB8888 || to == xBGR8888) && "to should be a 32-bit display format");
  return to == xRGB8888 ? pixels_xRGB8888.data() : pixels_xBGR8888.data();
}
