// Where each pixel format keeps its colour channels, and how a channel changes its width. All that
// converts pixels is made of these: library, widget and recorder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "qom/qom.h"

namespace qom::pixel {

/* A run of bits within a pixel; zero bits when the format has no such channel. */
struct Channel {
  unsigned shift; /* position of the lowest bit */
  unsigned bits;
};

struct Layout {
  unsigned bits_per_pixel; /* 0 for FORMAT_UNKNOWN */
  Channel red, green, blue;
};

/* One row per format, indexed by PixelFormat. */
inline constexpr Layout layouts[] = {
    {0, {}, {}, {}},                /* FORMAT_UNKNOWN */
    {8, {}, {}, {}},                /* PALETTE8 */
    {8, {5, 3}, {2, 3}, {0, 2}},    /* RGB332 */
    {8, {0, 3}, {3, 3}, {6, 2}},    /* BGR233 */
    {16, {11, 5}, {5, 6}, {0, 5}},  /* RGB565 */
    {16, {0, 5}, {5, 6}, {11, 5}},  /* BGR565 */
    {32, {16, 8}, {8, 8}, {0, 8}},  /* xRGB8888 */
    {32, {0, 8}, {8, 8}, {16, 8}},  /* xBGR8888 */
    {32, {24, 8}, {16, 8}, {8, 8}}, /* RGBx8888 */
    {32, {8, 8}, {16, 8}, {24, 8}}, /* BGRx8888 */
};

/* A pixel as it lies in memory: an integer of the host's byte order. */
template <PixelFormat format>
using Pixel = std::conditional_t<
    layouts[format].bits_per_pixel == 8, std::uint8_t,
    std::conditional_t<layouts[format].bits_per_pixel == 16, std::uint16_t, std::uint32_t>>;

constexpr std::uint32_t mask(Channel channel) {
  return ((1U << channel.bits) - 1U) << channel.shift;
}

/* Brings a channel value to another width: the leading bits are kept, and repeated to
   fill a wider channel, so that the largest value stays the largest value. */
template <unsigned from_bits, unsigned to_bits>
constexpr std::uint32_t resize(std::uint32_t value) {
  if constexpr (to_bits <= from_bits)
    return value >> (from_bits - to_bits);
  else
    return value << (to_bits - from_bits) | resize<from_bits, to_bits - from_bits>(value);
}

template <Channel from, Channel to>
constexpr std::uint32_t move(std::uint32_t pixel) {
  return resize<from.bits, to.bits>((pixel & mask(from)) >> from.shift) << to.shift;
}

/* Converts one pixel; bits that carry no colour become 0. */
template <PixelFormat from, PixelFormat to>
constexpr Pixel<to> convert(Pixel<from> pixel) {
  constexpr Layout source = layouts[from];
  constexpr Layout target = layouts[to];
  return static_cast<Pixel<to>>(move<source.red, target.red>(pixel) |
                                move<source.green, target.green>(pixel) |
                                move<source.blue, target.blue>(pixel));
}

}  // namespace qom::pixel
