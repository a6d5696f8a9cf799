#include "pixel_layout.h"

#include <strings.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <utility>

#include "pixels/channels.h"

namespace qom::record {
namespace {

using pixel::Channel;
using pixel::Layout;

// Formats of recordings; the first `display_count` are what displays use.
constexpr std::array<PixelFormat, 8> formats{xRGB8888, xBGR8888, RGB565, BGR565,
                                             RGBx8888, BGRx8888, RGB332, BGR233};
constexpr size_t display_count = 6;

size_t format_index(PixelFormat format) {
  size_t index = 0;
  while (index + 1 < formats.size() && formats[index] != format) index++;
  return index;
}

template <size_t from_index, size_t to_index>
void convert_row(const uint8_t *from, int count, uint8_t *to) {
  using From = pixel::Pixel<formats[from_index]>;
  using To = pixel::Pixel<formats[to_index]>;
  for (int i = 0; i < count; i++) {
    From pixel;
    std::memcpy(&pixel, from + i * sizeof(From), sizeof(From));
    const To converted = pixel::convert<formats[from_index], formats[to_index]>(pixel);
    std::memcpy(to + i * sizeof(To), &converted, sizeof(To));
  }
}

template <size_t... pairs>
constexpr auto converter_table(std::index_sequence<pairs...>) {
  return std::array<RowConverter, sizeof...(pairs)>{
      convert_row<pairs / formats.size(), pairs % formats.size()>...};
}

constexpr auto converters =
    converter_table(std::make_index_sequence<display_count * formats.size()>());

uint32_t kept_of_channel(const Channel &from, const Channel &to) {
  const unsigned lost = from.bits > to.bits ? from.bits - to.bits : 0;
  return pixel::mask(from) & (pixel::mask(from) << lost);
}

}  // namespace

std::optional<PixelFormat> format_of_masks(int bits_per_pixel, uint32_t red, uint32_t green,
                                           uint32_t blue) {
  for (size_t i = 0; i < display_count; i++) {
    const Layout &layout = pixel::layouts[formats[i]];
    if (static_cast<int>(layout.bits_per_pixel) == bits_per_pixel &&
        pixel::mask(layout.red) == red && pixel::mask(layout.green) == green &&
        pixel::mask(layout.blue) == blue)
      return formats[i];
  }
  return std::nullopt;
}

std::vector<std::string> recording_format_names() {
  std::vector<std::string> names;
  names.reserve(formats.size());
  for (const PixelFormat format : formats) names.emplace_back(pixel_format_string(format));
  return names;
}

std::optional<PixelFormat> recording_format(const std::string &name) {
  for (const PixelFormat format : formats) {
    if (strcasecmp(name.c_str(), pixel_format_string(format)) == 0) return format;
  }
  return std::nullopt;
}

uint32_t kept_bits(PixelFormat display, PixelFormat recording) {
  const Layout &from = pixel::layouts[display];
  const Layout &to = pixel::layouts[recording];
  return kept_of_channel(from.red, to.red) | kept_of_channel(from.green, to.green) |
         kept_of_channel(from.blue, to.blue);
}

RowConverter row_converter(PixelFormat display, PixelFormat recording) {
  return converters[format_index(display) * formats.size() + format_index(recording)];
}

}  // namespace qom::record
