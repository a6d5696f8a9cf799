#include "text/pixels.h"

#include <algorithm>

namespace qomtool {
namespace {

struct Channel {
  uint8_t shift;  // bits below the channel
  uint8_t bits;   // 0 when the format lacks the channel
};

struct Channels {
  PixelFormat format;
  Channel red, green, blue, alpha;
};

constexpr Channels kChannels[] = {
    {RGB332, {5, 3}, {2, 3}, {0, 2}, {0, 0}},     {BGR233, {0, 3}, {3, 3}, {6, 2}, {0, 0}},
    {RGB565, {11, 5}, {5, 6}, {0, 5}, {0, 0}},    {BGR565, {0, 5}, {5, 6}, {11, 5}, {0, 0}},
    {xRGB8888, {16, 8}, {8, 8}, {0, 8}, {0, 0}},  {xBGR8888, {0, 8}, {8, 8}, {16, 8}, {0, 0}},
    {RGBx8888, {24, 8}, {16, 8}, {8, 8}, {0, 0}}, {BGRx8888, {8, 8}, {16, 8}, {24, 8}, {0, 0}},
    {ARGB8888, {16, 8}, {8, 8}, {0, 8}, {24, 8}}, {ABGR8888, {0, 8}, {8, 8}, {16, 8}, {24, 8}},
    {RGBA8888, {24, 8}, {16, 8}, {8, 8}, {0, 8}}, {BGRA8888, {8, 8}, {16, 8}, {24, 8}, {0, 8}},
};

const Channels *channels_of(PixelFormat format) {
  for (const Channels &channels : kChannels) {
    if (channels.format == format) return &channels;
  }
  return nullptr;
}

uint32_t mask(Channel channel) {
  return ((1u << channel.bits) - 1) << channel.shift;
}

uint32_t placed(Channel channel, uint32_t value) {
  return channel.bits ? (value >> (8 - channel.bits)) << channel.shift : 0;
}

uint64_t split_mix(uint64_t &state) {
  state += 0x9e3779b97f4a7c15u;
  uint64_t z = state;
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
  return z ^ (z >> 31);
}

template <typename PixelOf>
void fill_with(const PixelRows &rows, PixelOf pixel_of) {
  for (uint32_t y = 0; y < rows.height; ++y) {
    uint8_t *at = rows.row(y);
    for (uint32_t x = 0; x < rows.width; ++x, at += rows.bytes_per_pixel) {
      store_pixel(at, rows.bytes_per_pixel, pixel_of());
    }
  }
}

uint32_t multiplied_by_alpha(uint32_t pixel) {
  const uint32_t alpha = pixel >> 24;
  uint32_t out = alpha << 24;
  for (uint32_t shift : {0u, 8u, 16u}) out |= ((pixel >> shift) & 0xff) * alpha / 255 << shift;
  return out;
}

}  // namespace

std::optional<uint32_t> pixel_of_colour(PixelFormat format, uint32_t red, uint32_t green,
                                        uint32_t blue) {
  const Channels *channels = channels_of(format);
  if (!channels) return std::nullopt;
  return placed(channels->red, red) | placed(channels->green, green) |
         placed(channels->blue, blue) | placed(channels->alpha, 0xff);
}

uint32_t channel_mask(PixelFormat format) {
  const Channels *channels = channels_of(format);
  if (!channels) return 0xff;
  return mask(channels->red) | mask(channels->green) | mask(channels->blue) | mask(channels->alpha);
}

void fill(const PixelRows &rows, uint32_t pixel) {
  fill_with(rows, [=] { return pixel; });
}

void fill_random(const PixelRows &rows, uint64_t seed, PixelFormat format, uint32_t palette_size) {
  const uint32_t bits = channel_mask(format);
  if (format == PALETTE8 && palette_size > 0) {
    fill_with(rows, [&] { return static_cast<uint32_t>(split_mix(seed) % palette_size); });
  } else {
    fill_with(rows, [&] { return static_cast<uint32_t>(split_mix(seed)) & bits; });
  }
}

void fill_random_cursor(const PixelRows &rows, uint64_t seed) {
  fill_with(rows, [&] { return multiplied_by_alpha(static_cast<uint32_t>(split_mix(seed))); });
}

std::optional<uint32_t> single_pixel(const PixelRows &rows) {
  const uint32_t size = rows.bytes_per_pixel;
  const uint8_t *first = rows.row(0);
  // Every pixel equals the one before it, so the row does when it is compared with itself shifted.
  if (std::memcmp(first, first + size, rows.row_bytes() - size) != 0) return std::nullopt;
  const uint8_t *padding = first + rows.row_bytes();
  if (std::any_of(padding, first + rows.stride, [](uint8_t byte) { return byte != 0; })) {
    return std::nullopt;
  }
  for (uint32_t y = 1; y < rows.height; ++y) {
    if (std::memcmp(first, rows.row(y), rows.stride) != 0) return std::nullopt;
  }
  return load_pixel(first, size);
}

}  // namespace qomtool
