#include "pixel/palette.h"

#include <algorithm>
#include <array>
#include <cassert>

#include "pixel/channels.h"

namespace {

using Pixels = std::array<std::uint32_t, palette_capacity>;

XColor table[palette_capacity];
std::size_t table_size;
Pixels pixels_xRGB8888;
Pixels pixels_xBGR8888;

/* The display's channels are 8 bits wide; the wider entry gives its low byte. */
std::uint32_t channel(unsigned short value, pixel::Channel to) {
  return static_cast<std::uint32_t>(value & 0xFF) << to.shift;
}

void pixels_rebuild(Pixels &pixels, PixelFormat to) {
  const pixel::Layout layout = pixel::layouts[to];
  std::transform(std::begin(table), std::end(table), pixels.begin(), [&](const XColor &colour) {
    return channel(colour.red, layout.red) | channel(colour.green, layout.green) |
           channel(colour.blue, layout.blue);
  });
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
