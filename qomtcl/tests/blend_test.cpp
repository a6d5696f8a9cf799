/* The blend of cursor and picture, against the rule written out naively. Where the blended pixels
   go is compared on real windows. */

#include <gtest/gtest.h>

#include "display/cursor_blend.h"

namespace {

struct DisplayFormat {
  const char *name;
  unsigned long red, green, blue; /* masks */
};

constexpr DisplayFormat kFormats[] = {
    {"xRGB8888", 0xFF0000, 0x00FF00, 0x0000FF},
    {"xBGR8888", 0x0000FF, 0x00FF00, 0xFF0000},
    {"RGB565", 0xF800, 0x07E0, 0x001F},
    {"BGR565", 0x001F, 0x07E0, 0xF800},
};

BlendFormat format_of(const DisplayFormat &display) {
  return blend_format(display.red, display.green, display.blue);
}

/* One channel on its way through 8 bits, taken bit by bit. */
unsigned long expected_channel(unsigned long mask, unsigned colour, unsigned alpha,
                               unsigned long picture) {
  int lowest = 0, bits = 0;
  while (!(mask >> lowest & 1)) ++lowest;
  while (mask >> (lowest + bits) & 1) ++bits;
  unsigned wide = 0;
  for (int bit = 0; bit < 8; ++bit) /* the leading bits, over and over */
    wide = wide << 1 | static_cast<unsigned>(picture >> (lowest + bits - 1 - bit % bits) & 1);
  const unsigned value =
      alpha == 255 ? colour : (colour + (wide * (255 - alpha) + 127) / 255) & 255;
  return static_cast<unsigned long>(value) >> (8 - bits) << lowest;
}

unsigned long expected_pixel(const DisplayFormat &display, uint32_t cursor, unsigned long picture) {
  return expected_channel(display.red, cursor >> 16 & 255, cursor >> 24, picture) |
         expected_channel(display.green, cursor >> 8 & 255, cursor >> 24, picture) |
         expected_channel(display.blue, cursor & 255, cursor >> 24, picture);
}

}  // namespace

TEST(Blend, FollowsTheRuleForEveryChannelValue) {
  for (const DisplayFormat &display : kFormats) {
    const BlendFormat format = format_of(display);
    for (uint32_t alpha = 0; alpha < 256; ++alpha)
      for (uint32_t colour = 0; colour < 256; ++colour)
        for (const unsigned long mask : {display.red, display.green}) {
          const unsigned long step = mask & -mask;
          for (unsigned long picture = 0; picture <= mask; picture += step) {
            const uint32_t cursor = alpha << 24 | colour << 16 | colour << 8 | (colour ^ 255);
            const auto pixel = static_cast<uint32_t>(picture);
            ASSERT_EQ(blend_pixel(format, cursor, pixel), expected_pixel(display, cursor, picture))
                << display.name << std::hex << " cursor " << cursor << " over " << picture;
          }
        }
  }
}
