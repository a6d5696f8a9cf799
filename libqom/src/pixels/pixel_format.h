// Sizes of pixels, rows and images.
#pragma once

#include <cstdint>

#include "qom/qom.h"

namespace qom {

// The format of a byte of a file; FORMAT_UNKNOWN for values that are none.
inline PixelFormat to_pixel_format(uint8_t value) {
  return value <= BGRA8888 ? static_cast<PixelFormat>(value) : FORMAT_UNKNOWN;
}

// Paddings that a recording may have, in bits.
bool is_scanline_pad(uint8_t bits);

// Bytes of one row, rounded up to a multiple of the padding; cannot wrap. The padding is any
// value: 0 counts as 8, and one that is no whole number of bytes is rounded up to bits as given.
uint64_t stride(uint32_t width, unsigned bits_per_pixel, uint8_t scanline_pad);

// Bytes of the rows of an image, or 0 when the format, the padding or a side is not allowed or
// the image is larger than QOM_MAX_DATA.
uint64_t image_bytes(uint16_t width, uint16_t height, PixelFormat format, uint8_t scanline_pad);

}  // namespace qom
