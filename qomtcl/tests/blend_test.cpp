/* The blend of cursor and picture in memory, against the rule written out naively. */

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "display/cursor_blend.h"

namespace {

struct DisplayFormat {
  const char *name;
  int bits_per_pixel;
  unsigned long red, green, blue; /* masks */
};

constexpr DisplayFormat kFormats[] = {
    {"xRGB8888", 32, 0xFF0000, 0x00FF00, 0x0000FF},
    {"xBGR8888", 32, 0x0000FF, 0x00FF00, 0xFF0000},
    {"RGB565", 16, 0xF800, 0x07E0, 0x001F},
    {"BGR565", 16, 0x001F, 0x07E0, 0xF800},
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

/* An image whose rows end in padding, with a border of rows that must not change. */
class Image {
 public:
  Image(const DisplayFormat &display, int width, int height) {
    image.width = width;
    image.height = height;
    image.format = ZPixmap;
    image.byte_order = LSBFirst;
    image.bitmap_bit_order = LSBFirst;
    image.bitmap_unit = 32;
    image.bitmap_pad = 32;
    image.depth = display.bits_per_pixel == 16 ? 16 : 24;
    image.bits_per_pixel = display.bits_per_pixel;
    image.bytes_per_line = (width * display.bits_per_pixel / 8 + 4 + 3) / 4 * 4;
    image.red_mask = display.red;
    image.green_mask = display.green;
    image.blue_mask = display.blue;
    memory.resize(static_cast<size_t>(image.bytes_per_line) * (height + 2));
    image.data = memory.data() + image.bytes_per_line;
    XInitImage(&image);
  }
  XImage image = {};
  std::vector<char> memory;
};

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

TEST(Blend, LeavesThePictureUnderTransparentPixels) {
  for (const DisplayFormat &display : kFormats) {
    const auto colours = static_cast<uint32_t>(display.red | display.green | display.blue);
    for (uint32_t pixel = 0; pixel <= 0xFFFF; ++pixel)
      ASSERT_EQ(blend_pixel(format_of(display), 0, pixel * 0x10001u), pixel * 0x10001u & colours);
  }
  EXPECT_EQ(blend_pixel(format_of(kFormats[0]), 0x80000000, 0xFFFFFF), 0x7F7F7Fu);
}

TEST(Blend, PutsEveryCellUnderItsOwnCursorPixel) {
  std::mt19937 random(5);
  const int width = 23, height = 17;
  std::vector<uint32_t> shape(7 * 5);
  for (uint32_t &pixel : shape) pixel = static_cast<uint32_t>(random());
  QomCursorImage cursor = {};
  cursor.width = 7;
  cursor.height = 5;
  cursor.data = reinterpret_cast<uint8_t *>(shape.data());
  for (const DisplayFormat &display : kFormats) {
    Image picture(display, width, height);
    for (char &byte : picture.memory) byte = static_cast<char>(random());
    for (int x = -8; x <= width + 1; ++x)
      for (int y = -6; y <= height + 1; ++y)
        for (const XRectangle area :
             {XRectangle{0, 0, 23, 17}, {4, 3, 9, 8}, {22, 16, 1, 1}, {0, 9, 23, 1}}) {
          Image blended(display, area.width, area.height);
          std::vector<char> guard = blended.memory;
          blend_cursor(&picture.image, &cursor, x, y, area, &blended.image);
          for (int row = 0; row < area.height; ++row)
            for (int column = 0; column < area.width; ++column) {
              const unsigned long below = XGetPixel(&picture.image, area.x + column, area.y + row);
              const int cx = area.x + column - x, cy = area.y + row - y;
              const bool covered = cx >= 0 && cx < 7 && cy >= 0 && cy < 5;
              const unsigned long expected =
                  covered ? expected_pixel(display, shape[cy * 7 + cx], below) : below;
              ASSERT_EQ(XGetPixel(&blended.image, column, row), expected)
                  << display.name << " cursor at " << x << "," << y << " cell " << column << ","
                  << row << " of the area at " << area.x << "," << area.y;
              XPutPixel(&blended.image, column, row, 0);
            }
          ASSERT_EQ(blended.memory, guard) << "wrote beside the area";
        }
  }
}
