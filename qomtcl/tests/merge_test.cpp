/* Which conversions there are, where they write, and what only a caller in C++ can see of them.
   What every conversion makes of pixels is compared on windows (window.test). */
#include <gtest/gtest.h> /* before Xlib, which defines None and Bool */

#include <map>
#include <string>
#include <vector>

#include "pixel/merge.h"
#include "pixel/pixel_format.h"

namespace {

int dumps;

QomImage rectangle(int x, int y, int width, int height, std::vector<uint32_t> *pixels = nullptr) {
  QomImage image = {};
  image.type = QOM_IMAGE;
  image.x = static_cast<int16_t>(x);
  image.y = static_cast<int16_t>(y);
  image.width = static_cast<uint16_t>(width);
  image.height = static_cast<uint16_t>(height);
  if (pixels) image.data = reinterpret_cast<uint8_t *>(pixels->data());
  return image;
}

/* An image of xRGB8888. */
XImage frame(int width, int height, std::vector<uint32_t> *pixels = nullptr) {
  XImage image = {};
  image.width = width;
  image.height = height;
  image.bytes_per_line = width * 4;
  image.red_mask = 0xFF0000;
  image.green_mask = 0xFF00;
  image.blue_mask = 0xFF;
  if (pixels) image.data = reinterpret_cast<char *>(pixels->data());
  return image;
}

}  // namespace

/* In place of the library's, so that the test can count. */
extern "C" void qom_record_dump(const void *) {
  ++dumps;
}

TEST(Merge, HasExactlyTheSupportedPairs) {
  const std::vector<PixelFormat> narrow = {RGB565, BGR565, xRGB8888, xBGR8888};
  const std::vector<PixelFormat> wide = {PALETTE8, RGB332,   BGR233,   RGB565,  BGR565,
                                         xRGB8888, xBGR8888, RGBx8888, BGRx8888};
  const std::map<PixelFormat, std::vector<PixelFormat>> expected = {
      {RGB565, narrow}, {BGR565, narrow}, {xRGB8888, wide}, {xBGR8888, wide}};
  std::map<PixelFormat, std::vector<PixelFormat>> sources;
  for (int pair = 0; pair < 16 * 16; ++pair) {
    const auto from = static_cast<PixelFormat>(pair % 16);
    const auto to = static_cast<PixelFormat>(pair / 16);
    if (merge_define(from, to)) sources[to].push_back(from);
  }
  EXPECT_EQ(sources, expected);
}

TEST(Merge, ClipsWithoutWrappingAndTellsTouchingFromApart) {
  const auto clip = [](QomImage from, XImage to) {
    const XRectangle r = rectangle_from_image_intersection(&from, &to);
    return std::vector<int>{r.x, r.y, r.width, r.height};
  };
  EXPECT_EQ(clip(rectangle(-2, 7, 4, 4), frame(10, 10)), (std::vector{0, 7, 2, 3}));
  EXPECT_EQ(clip(rectangle(-4, 7, 4, 4), frame(10, 10)), (std::vector{0, 7, 0, 3}));
  EXPECT_EQ(clip(rectangle(10, 7, 4, 4), frame(10, 10)), (std::vector{10, 7, 0, 3}));
  EXPECT_EQ(clip(rectangle(-5, 7, 4, 4), frame(10, 10)), (std::vector{0, 0, 0, 0}));
  EXPECT_EQ(clip(rectangle(7, 11, 4, 4), frame(10, 10)), (std::vector{0, 0, 0, 0}));
  EXPECT_EQ(clip(rectangle(20000, -32768, 65535, 65535), frame(40000, 40000)),
            (std::vector{20000, 0, 20000, 32767}));
}

/* Also: bits without a colour become 0, but where pixels are copied as they are. */
TEST(Merge, DumpsCopiedRecordsThatReachPastTheFrame) {
  std::vector<uint32_t> source(16, 0x89ABCDEF);
  for (const auto &[x, y, past] :
       {std::tuple{6, 6, 0}, {-2, -2, 0}, {7, 0, 1}, {0, 7, 1}, {7, 7, 1}})
    for (const auto &[format, pixel] :
         {std::pair{xRGB8888, 0x89ABCDEFu}, {xBGR8888, 0xEFCDABu}, {RGBx8888, 0x89ABCDu}}) {
      std::vector<uint32_t> target(100);
      const QomImage from = rectangle(x, y, 4, 4, &source);
      XImage to = frame(10, 10, &target);
      dumps = 0;
      merge_define(format, xRGB8888)(&from, &to);
      EXPECT_EQ(dumps, format == xRGB8888 ? past : 0);
      EXPECT_EQ(target[std::max(0, y) * 10 + std::max(0, x)], pixel);
    }
}

TEST(Merge, TakesAPaletteOfAnySize) {
  for (const auto &[size, taken] : {std::pair{2, 2U}, {300, 256U}, {0, 256U}}) {
    std::vector<RgbValue> entries(static_cast<size_t>(size), {0x0102, 0x0304, 0x0506, 0});
    QomHeader header = {};
    header.palette_size = static_cast<uint16_t>(size);
    header.palette = entries.data();
    palette_set(&header);
    EXPECT_EQ(palette_size, taken);
  }
  EXPECT_EQ(palette[255].pixel, 255U);
  EXPECT_EQ(palette[255].red, 0x0102);
  EXPECT_EQ(palette_pixels(xBGR8888)[255], 0x060402u);
}

/* Those of 16 and 24 bits have displays of their own in the other tests. */
TEST(PixelFormat, IsKnownByClassAndMasks) {
  const auto detected = [](auto detect, int visual_class, unsigned long red, unsigned long green,
                           unsigned long blue) {
    XVisualInfo info = {};
    info.c_class = visual_class;
    info.red_mask = red;
    info.green_mask = green;
    info.blue_mask = blue;
    return detect(&info);
  };
  const auto narrow = pixel_format_depth_8, wide = pixel_format_depth_32;
  EXPECT_EQ(detected(narrow, TrueColor, 0xE0, 0x1C, 0x03), RGB332);
  EXPECT_EQ(detected(narrow, TrueColor, 0x07, 0x38, 0xC0), BGR233);
  EXPECT_EQ(detected(narrow, DirectColor, 0xE0, 0x1C, 0x03), FORMAT_UNKNOWN);
  EXPECT_EQ(detected(wide, TrueColor, 0xFF0000, 0xFF00, 0xFF), xRGB8888);
  EXPECT_EQ(detected(wide, TrueColor, 0xFF, 0xFF00, 0xFF0000), xBGR8888);
  EXPECT_EQ(detected(wide, TrueColor, 0xFF000000, 0xFF0000, 0xFF00), RGBx8888);
  EXPECT_EQ(detected(wide, TrueColor, 0xFF00, 0xFF0000, 0xFF000000), BGRx8888);
  EXPECT_EQ(detected(wide, DirectColor, 0xFF0000, 0xFF00, 0xFF), FORMAT_UNKNOWN);
}
