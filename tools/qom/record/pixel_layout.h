// Pixels of a display and of a recording: which format they are in and how one becomes the other.
#ifndef QOM_RECORD_PIXEL_LAYOUT_H
#define QOM_RECORD_PIXEL_LAYOUT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "qom/qom.h"

namespace qom::record {

// The format of pixels with these channel masks; none when the recorder does not know it.
std::optional<PixelFormat> format_of_masks(int bits_per_pixel, uint32_t red, uint32_t green,
                                           uint32_t blue);

// Formats a recording can be made in, and one of them by its name (in any case).
std::vector<std::string> recording_format_names();
std::optional<PixelFormat> recording_format(const std::string &name);

// Bits of a `display` pixel that a pixel of format `recording` keeps. Channels that get
// narrower lose their lowest bits; the unused byte of a 32-bit pixel is never kept.
uint32_t kept_bits(PixelFormat display, PixelFormat recording);

// Converts `count` pixels. The lowest bits of a channel that gets narrower are cut off; a channel
// that gets wider repeats its highest bits below, so that full stays full. Unused bits become 0.
using RowConverter = void (*)(const uint8_t *from, int count, uint8_t *to);

// The converter between two formats: `display` one that format_of_masks() gives, `recording` one
// that recording_format() gives.
RowConverter row_converter(PixelFormat display, PixelFormat recording);

}  // namespace qom::record

#endif
