#include "pixel_layout.h"

#include <strings.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <type_traits>
#include <utility>

namespace qom::record {
namespace {

struct Channel {
  int shift;
  int bits;

  constexpr uint32_t mask() const { return ((uint32_t{1} << bits) - 1) << shift; }
};

struct Layout {
  PixelFormat format;
  int bits_per_pixel;
  Channel red, green, blue;
};

// The first `display_count` are what displays use.
constexpr std::array<Layout, 8> layouts{{
    {xRGB8888, 32, {16, 8}, {8, 8}, {0, 8}},
    {xBGR8888, 32, {0, 8}, {8, 8}, {16, 8}},
    {RGB565, 16, {11, 5}, {5, 6}, {0, 5}},
    {BGR565, 16, {0, 5}, {5, 6}, {11, 5}},
    {RGBx8888, 32, {24, 8}, {16, 8}, {8, 8}},
    {BGRx8888, 32, {8, 8}, {16, 8}, {24, 8}},
    {RGB332, 8, {5, 3}, {2, 3}, {0, 2}},
    {BGR233, 8, {0, 3}, {3, 3}, {6, 2}},
}};
constexpr size_t display_count = 6;

size_t layout_index(PixelFormat format) {
  size_t index = 0;
  while (index + 1 < layouts.size() && layouts[index].format != format) index++;
  return index;
}

template <int bits_per_pixel>
using Pixel = std::conditional_t<bits_per_pixel == 32, uint32_t,
                                 std::conditional_t<bits_per_pixel == 16, uint16_t, uint8_t>>;

template <size_t from_bits, size_t to_bits>
constexpr uint32_t resize_channel(uint32_t value) {
  if constexpr (to_bits <= from_bits) {
    return value >> (from_bits - to_bits);
  } else {
    return value << (to_bits - from_bits) | value >> (2 * from_bits - to_bits);
  }
}

template <int from_shift, int from_bits, int to_shift, int to_bits>
constexpr uint32_t move_channel(uint32_t pixel) {
  const uint32_t value = (pixel >> from_shift) & ((uint32_t{1} << from_bits) - 1);
  return resize_channel<from_bits, to_bits>(value) << to_shift;
}

template <size_t from_index, size_t to_index>
void convert_row(const uint8_t *from, int count, uint8_t *to) {
  constexpr Layout f = layouts[from_index];
  constexpr Layout t = layouts[to_index];
  using From = Pixel<f.bits_per_pixel>;
  using To = Pixel<t.bits_per_pixel>;
  for (int i = 0; i < count; i++) {
    From pixel;
    std::memcpy(&pixel, from + i * sizeof(From), sizeof(From));
    const To converted = static_cast<To>(
        move_channel<f.red.shift, f.red.bits, t.red.shift, t.red.bits>(pixel) |
        move_channel<f.green.shift, f.green.bits, t.green.shift, t.green.bits>(pixel) |
        move_channel<f.blue.shift, f.blue.bits, t.blue.shift, t.blue.bits>(pixel));
    std::memcpy(to + i * sizeof(To), &converted, sizeof(To));
  }
}

template <size_t... pairs>
constexpr auto converter_table(std::index_sequence<pairs...>) {
  return std::array<RowConverter, sizeof...(pairs)>{
      convert_row<pairs / layouts.size(), pairs % layouts.size()>...};
}

constexpr auto converters =
    converter_table(std::make_index_sequence<display_count * layouts.size()>());

uint32_t kept_of_channel(const Channel &from, const Channel &to) {
  const int lost = from.bits > to.bits ? from.bits - to.bits : 0;
  return from.mask() & (from.mask() << lost);
}

}  // namespace

std::optional<PixelFormat> format_of_masks(int bits_per_pixel, uint32_t red, uint32_t green,
                                           uint32_t blue) {
  for (size_t i = 0; i < display_count; i++) {
    const Layout &layout = layouts[i];
    if (layout.bits_per_pixel == bits_per_pixel && layout.red.mask() == red &&
        layout.green.mask() == green && layout.blue.mask() == blue) {
      return layout.format;
    }
  }
  return std::nullopt;
}

std::vector<std::string> recording_format_names() {
  std::vector<std::string> names;
  for (const Layout &layout : layouts) names.emplace_back(pixel_format_string(layout.format));
  return names;
}

std::optional<PixelFormat> recording_format(const std::string &name) {
  for (const Layout &layout : layouts) {
    if (strcasecmp(name.c_str(), pixel_format_string(layout.format)) == 0) return layout.format;
  }
  return std::nullopt;
}

uint32_t kept_bits(PixelFormat display, PixelFormat recording) {
  const Layout &from = layouts[layout_index(display)];
  const Layout &to = layouts[layout_index(recording)];
  return kept_of_channel(from.red, to.red) | kept_of_channel(from.green, to.green) |
         kept_of_channel(from.blue, to.blue);
}

RowConverter row_converter(PixelFormat display, PixelFormat recording) {
  return converters[layout_index(display) * layouts.size() + layout_index(recording)];
}

}  // namespace qom::record
