/* Every pair of formats against a conversion written bit by bit from the formats' names. */
#include <gtest/gtest.h> /* before Xlib, which defines None and Bool */

#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "pixel/merge.h"
#include "pixel/pixel_format.h"

namespace {

int dumps;
std::vector<RgbValue> colours(256);
std::minstd_rand random_number;

struct Channel {
  int low; /* position of the lowest bit */
  int width;
};

/* "xRGB8888": letters from the most significant bit on, then their widths. */
Channel channel(PixelFormat format, char letter) {
  const std::string name = pixel_format_string(format);
  const size_t letters = name.find_first_of("0123456789");
  Channel result = {0, 0};
  for (size_t i = letters - 1;; --i) {
    result = {result.low + result.width, name.at(letters + i) - '0'};
    if (name[i] == letter) return result;
  }
}

/* The channel in 8 bits; its bits start again from the top when they run out. */
uint32_t channel_read(uint32_t pixel, PixelFormat format, char letter) {
  if (format == PALETTE8) {
    const RgbValue &colour = colours[pixel];
    return (letter == 'R' ? colour.red : letter == 'G' ? colour.green : colour.blue) & 0xFF;
  }
  const auto [low, width] = channel(format, letter);
  uint32_t value = 0;
  for (int bit = 0; bit < 8; ++bit)
    value = value << 1 | (pixel >> (low + width - 1 - bit % width) & 1);
  return value;
}

uint32_t pixel_expected(uint32_t pixel, PixelFormat from, PixelFormat to) {
  if (from == to) return pixel;
  uint32_t result = 0;
  for (const char letter : {'R', 'G', 'B'}) {
    const auto [low, width] = channel(to, letter);
    result |= channel_read(pixel, from, letter) >> (8 - width) << low;
  }
  return result;
}

unsigned long channel_mask(PixelFormat format, char letter) {
  const auto [low, width] = channel(format, letter);
  return ((1UL << width) - 1) << low;
}

std::vector<uint8_t> random_bytes(int size) {
  std::vector<uint8_t> data(static_cast<size_t>(size));
  for (uint8_t &byte : data) byte = static_cast<uint8_t>(random_number() >> 8);
  return data;
}

/* A frame image between two rows of other bytes, each of its rows followed by some more. */
struct Frame {
  int pixel; /* bytes */
  XImage image = {};
  std::vector<uint8_t> memory;

  Frame(PixelFormat format, int width, int height) : pixel(format < xRGB8888 ? 2 : 4) {
    image.width = width;
    image.height = height;
    image.bytes_per_line = (width * pixel + 3) / 4 * 4 + 4;
    image.red_mask = channel_mask(format, 'R');
    image.green_mask = channel_mask(format, 'G');
    image.blue_mask = channel_mask(format, 'B');
    memory = random_bytes(image.bytes_per_line * (height + 2));
    image.data = reinterpret_cast<char *>(memory.data()) + image.bytes_per_line;
  }
};

/* A rectangle whose rows are exactly as long as its allocation. */
struct Rectangle {
  int pixel; /* bytes */
  int stride;
  std::vector<uint8_t> memory;
  QomImage image = {};

  Rectangle(PixelFormat format, int x, int y, int width, int height)
      : pixel(static_cast<int>(pixel_format_bytes_per_pixel(format))) {
    const int pad = pixel == 4 || scanline_pad == 0 ? 1 : scanline_pad / 8;
    stride = (width * pixel + pad - 1) / pad * pad;
    memory = random_bytes(stride * height);
    image.type = QOM_IMAGE;
    image.x = static_cast<int16_t>(x);
    image.y = static_cast<int16_t>(y);
    image.width = static_cast<uint16_t>(width);
    image.height = static_cast<uint16_t>(height);
    image.data = memory.data();
  }
};

/* Merges random pixels into random ones; false when any byte is not as expected. */
bool merges(PixelFormat from, PixelFormat to, int x, int y, int width, int height,
            int frame_width = 37, int frame_height = 11) {
  const Rectangle source(from, x, y, width, height);
  Frame target(to, frame_width, frame_height);
  std::vector<uint8_t> expected = target.memory;
  for (int row = std::max(0, -y); row < std::min(height, frame_height - y); ++row)
    for (int column = std::max(0, -x); column < std::min(width, frame_width - x); ++column) {
      uint32_t pixel = 0;
      memcpy(&pixel, &source.memory[source.stride * row + source.pixel * column],
             static_cast<size_t>(source.pixel));
      pixel = pixel_expected(pixel, from, to);
      memcpy(&expected[target.image.bytes_per_line * (y + row + 1) + target.pixel * (x + column)],
             &pixel, static_cast<size_t>(target.pixel));
    }
  merge_define(from, to)(&source.image, &target.image);
  return target.memory == expected;
}

void palette_use(std::vector<RgbValue> entries) {
  QomHeader header = {};
  header.palette_size = static_cast<uint16_t>(entries.size());
  header.palette = entries.data();
  palette_set(&header);
  std::copy_n(entries.begin(), std::min<size_t>(entries.size(), 256), colours.begin());
}

}  // namespace

/* In place of the library's, so that the test can count. */
extern "C" void qom_record_dump(const void *) {
  ++dumps;
}

TEST(Merge, ConvertsAndClipsExactlyTheSupportedPairs) {
  std::vector<RgbValue> entries(256);
  for (RgbValue &entry : entries)
    entry = {static_cast<uint16_t>(random_number()), static_cast<uint16_t>(random_number()),
             static_cast<uint16_t>(random_number()), 0};
  palette_use(entries);
  const int width = 37, height = 11;
  const std::map<PixelFormat, std::string> sources = {
      {RGB565, "RGB565 BGR565 xRGB8888 xBGR8888 "},
      {BGR565, "RGB565 BGR565 xRGB8888 xBGR8888 "},
      {xRGB8888, "P8 RGB332 BGR233 RGB565 BGR565 xRGB8888 xBGR8888 RGBx8888 BGRx8888 "},
      {xBGR8888, "P8 RGB332 BGR233 RGB565 BGR565 xRGB8888 xBGR8888 RGBx8888 BGRx8888 "}};
  std::map<PixelFormat, std::string> found;
  for (int pair = 0; pair < 256 * 256; ++pair) {
    const auto from = static_cast<PixelFormat>(pair % 256);
    const auto to = static_cast<PixelFormat>(pair / 256);
    if (!merge_define(from, to)) continue;
    found[to] += std::string(from == PALETTE8 ? "P8" : pixel_format_string(from)) + " ";
    for (const int pad : {0, 8, 16, 32, 64}) {
      scanline_pad = static_cast<uint8_t>(pad);
      for (const auto &[w, h] : {std::pair{1, 1}, {7, 3}, {33, 2}, {45, 15}})
        for (const int x : {-32768, -w, -3, 0, 5, width - 2, width, 32767})
          for (const int y : {-32768, -h, -1, 0, height - 1, height, 32767})
            ASSERT_TRUE(merges(from, to, x, y, w, h))
                << found[to] << "into " << pixel_format_string(to) << ", " << w << "x" << h
                << " at " << x << "," << y << ", pad " << pad;
    }
  }
  EXPECT_EQ(found, sources);
}

TEST(Merge, DoesNotWrapAtSixteenBits) {
  scanline_pad = 8;
  for (const int position : {-32768, -1, 0, 20000, 32767}) {
    EXPECT_TRUE(merges(RGB332, xBGR8888, position, 0, 65535, 1, 40000, 2)) << position;
    EXPECT_TRUE(merges(RGB565, BGR565, 0, position, 1, 65535, 2, 40000)) << position;
  }
}

/* Where a rectangle of 4x4 lies in a frame of 10x10, and whether the record is dumped. */
TEST(Merge, TellsTouchingFromApartAndDumpsWhatReachesPastTheFrame) {
  struct Case {
    int x, y;
    std::vector<int> clip;
    int dumps;
  };
  for (const Case &expected :
       {Case{6, 6, {6, 6, 4, 4}, 0}, Case{-2, 7, {0, 7, 2, 3}, 1}, Case{-4, 2, {0, 2, 0, 4}, 0},
        Case{10, 2, {10, 2, 0, 4}, 1}, Case{-5, 2, {0, 0, 0, 0}, 0}, Case{7, 11, {0, 0, 0, 0}, 1}})
    for (const PixelFormat format : {xRGB8888, xBGR8888, RGBx8888}) {
      const Rectangle rectangle(format, expected.x, expected.y, 4, 4);
      Frame frame(xRGB8888, 10, 10);
      const XRectangle clip = rectangle_from_image_intersection(&rectangle.image, &frame.image);
      EXPECT_EQ((std::vector<int>{clip.x, clip.y, clip.width, clip.height}), expected.clip);
      dumps = 0;
      merge_define(format, xRGB8888)(&rectangle.image, &frame.image);
      EXPECT_EQ(dumps, format == xRGB8888 ? expected.dumps : 0);
    }
}

TEST(Merge, SeesEveryChangeOfThePalette) {
  const std::vector<RgbValue> two = {{0x1234, 0x5678, 0x9ABC, 0}, {1, 2, 3, 0}};
  const std::vector<RgbValue> many(300, {0x0102, 0x0304, 0x0506, 0});
  for (const auto &[entries, size] : {std::pair{two, 2U}, {many, 256U}, {{}, 256U}}) {
    palette_use(entries);
    EXPECT_EQ(palette_size, size);
    EXPECT_TRUE(merges(PALETTE8, xRGB8888, 0, 0, 37, 11));
    EXPECT_TRUE(merges(PALETTE8, xBGR8888, 0, 0, 37, 11));
  }
  EXPECT_EQ(palette[255].pixel, 255U);
  EXPECT_EQ(palette[255].red, 0x0102);
}

TEST(PixelFormat, IsKnownByClassAndMasks) {
  const std::map<PixelFormat (*)(const XVisualInfo *), std::vector<bool>> known = {
      {pixel_format_depth_8, {true, true, false, false, false, false, false, false}},
      {pixel_format_depth_16, {false, false, true, true, false, false, false, false}},
      {pixel_format_depth_24, {false, false, false, false, true, true, false, false}},
      {pixel_format_depth_32, {false, false, false, false, true, true, true, true}}};
  for (const auto &[detect, formats] : known)
    for (int code = RGB332; code <= BGRx8888; ++code) {
      const auto format = static_cast<PixelFormat>(code);
      XVisualInfo info = {};
      info.c_class = TrueColor;
      info.red_mask = channel_mask(format, 'R');
      info.green_mask = channel_mask(format, 'G');
      info.blue_mask = channel_mask(format, 'B');
      EXPECT_EQ(detect(&info), formats.at(code - RGB332) ? format : FORMAT_UNKNOWN);
      info.c_class = DirectColor;
      EXPECT_EQ(detect(&info), FORMAT_UNKNOWN);
    }
}
