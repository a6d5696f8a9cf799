// Rows of pixels in memory, and the patterns that the text form knows.
#pragma once

#include <cstdint>
#include <cstring>
#include <optional>

#include "qom/qom.h"

namespace qomtool {

// Rows of pixels that someone else owns. A pixel is an integer of 1, 2 or 4 bytes in the host's
// byte order; the bytes between the last pixel and the stride are padding.
struct PixelRows {
  uint8_t *data;
  uint32_t width;   // pixels, at least 1
  uint32_t height;  // pixels, at least 1
  uint32_t stride;  // bytes from one row to the next
  uint32_t bytes_per_pixel;

  uint8_t *row(uint32_t y) const { return data + size_t{y} * stride; }
  uint32_t row_bytes() const { return width * bytes_per_pixel; }
};

inline uint32_t load_pixel(const uint8_t *at, uint32_t bytes) {
  uint32_t pixel = 0;
  if (bytes == 1) return *at;
  if (bytes == 2) {
    uint16_t half;
    std::memcpy(&half, at, sizeof half);
    return half;
  }
  std::memcpy(&pixel, at, sizeof pixel);
  return pixel;
}

inline void store_pixel(uint8_t *at, uint32_t bytes, uint32_t pixel) {
  if (bytes == 1) {
    *at = static_cast<uint8_t>(pixel);
  } else if (bytes == 2) {
    const uint16_t half = static_cast<uint16_t>(pixel);
    std::memcpy(at, &half, sizeof half);
  } else {
    std::memcpy(at, &pixel, sizeof pixel);
  }
}

// The pixel of a colour given in 8 bits a channel, opaque where the format has alpha; channels of
// fewer bits keep the highest ones. Nothing for PALETTE8, whose pixels are no colours.
std::optional<uint32_t> pixel_of_colour(PixelFormat format, uint32_t red, uint32_t green,
                                        uint32_t blue);

// Bits of a pixel that carry a channel or an index.
uint32_t channel_mask(PixelFormat format);

// Sets every pixel to one value. Padding is left alone, here and below.
void fill(const PixelRows &rows, uint32_t pixel);

// Gives every pixel, from the top left in reading order, the next number of SplitMix64 started with
// `seed`, as docs/text.md lays down: the low bits of the number, bits without a channel zero; with
// a palette, the number modulo its size.
void fill_random(const PixelRows &rows, uint64_t seed, PixelFormat format, uint32_t palette_size);

// The same for a cursor image, with the colours multiplied by alpha.
void fill_random_cursor(const PixelRows &rows, uint64_t seed);

// The value of all pixels when they are all the same and the padding is zero.
std::optional<uint32_t> single_pixel(const PixelRows &rows);

}  // namespace qomtool
