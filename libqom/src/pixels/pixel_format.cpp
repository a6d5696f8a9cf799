#include "pixels/pixel_format.h"

#include <cstddef>
#include <iterator>

namespace qom {
namespace {

struct Format {
  const char *name;
  uint8_t bytes;
};

constexpr Format formats[] = {
    {"FORMAT_UNKNOWN", 0}, {"PALETTE8", 1}, {"RGB332", 1},   {"BGR233", 1},   {"RGB565", 2},
    {"BGR565", 2},         {"xRGB8888", 4}, {"xBGR8888", 4}, {"RGBx8888", 4}, {"BGRx8888", 4},
    {"ARGB8888", 4},       {"ABGR8888", 4}, {"RGBA8888", 4}, {"BGRA8888", 4},
};

const Format &format_of(PixelFormat format) {
  const auto value = static_cast<unsigned>(format);
  return formats[value < std::size(formats) ? value : 0];
}

}  // namespace

bool is_scanline_pad(uint8_t bits) {
  return bits == 0 || bits == 8 || bits == 16 || bits == 32;
}

uint64_t stride(uint32_t width, unsigned bits_per_pixel, uint8_t scanline_pad) {
  const uint64_t pad = scanline_pad == 0 ? 8 : scanline_pad;
  const uint64_t bits = uint64_t{width} * bits_per_pixel;
  // Dividing takes too long for millions of blocks.
  if ((pad & (pad - 1)) == 0) return ((bits + pad - 1) & ~(pad - 1)) / 8;
  return (bits + pad - 1) / pad * pad / 8;
}

uint64_t image_bytes(uint16_t width, uint16_t height, PixelFormat format, uint8_t scanline_pad) {
  const size_t bytes = pixel_format_bytes_per_pixel(format);
  if (bytes == 0 || !is_scanline_pad(scanline_pad)) return 0;
  if (width == 0 || width > QOM_MAX_SIDE || height == 0 || height > QOM_MAX_SIDE) return 0;
  const uint64_t length = stride(width, static_cast<unsigned>(bytes * 8), scanline_pad) * height;
  return length <= QOM_MAX_DATA ? length : 0;
}

}  // namespace qom

extern "C" {

const char *pixel_format_string(PixelFormat format) {
  return qom::format_of(format).name;
}

size_t pixel_format_bytes_per_pixel(PixelFormat format) {
  return qom::format_of(format).bytes;
}

uint32_t stride_in_bytes(uint32_t width, uint8_t bits_per_pixel, uint8_t scanline_pad) {
  return static_cast<uint32_t>(qom::stride(width, bits_per_pixel, scanline_pad));
}

}  // extern "C"
