/* Every pair of formats against a conversion written bit by bit from the formats' names. */
#include <gtest/gtest.h> /* before Xlib, which defines None and Bool */

#include <cstring>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "pixel/merge.h"
#include "pixel/pixel_format.h"

namespace {

int dumps;
std::vector<RgbValue> colours;
std::minstd_rand random_number;

struct Format {
  int bits;
  std::map<char, std::pair<int, int>> channels; /* letter: position of the lowest bit, width */
};

/* Reads "xRGB8888": letters from the most significant bit, then their widths. */
Format format_of_name(PixelFormat code) {
  const std::string name = code == PALETTE8 ? "P8" : pixel_format_string(code);
  Format format = {};
  const size_t letters = name.find_first_of("0123456789");
  for (size_t i = letters; i-- > 0;) {
    const int width = name.at(letters + i) - '0';
    format.channels[name[i]] = {format.bits, width};
    format.bits += width;
  }
  return format;
}

/* The channel in 8 bits; its bits start again from the top when they run out. */
uint32_t channel_read(uint32_t pixel, const Format &format, char letter) {
  const auto [low, width] = format.channels.at(letter);
  uint32_t value = 0;
  for (int bit = 0; bit < 8; ++bit)
    value = value << 1 | (pixel >> (low + width - 1 - bit % width) & 1);
  return value;
}

uint32_t pixel_expected(uint32_t pixel, PixelFormat from, PixelFormat to) {
  if (from == to) return pixel;
  const Format source = format_of_name(from), target = format_of_name(to);
  uint32_t result = 0;
  for (const char letter : {'R', 'G', 'B'}) {
    uint32_t value = 0;
    if (from == PALETTE8) {
      const RgbValue &colour = colours[pixel];
      value = (letter == 'R' ? colour.red : letter == 'G' ? colour.green : colour.blue) & 0xFF;
    } else {
      value = channel_read(pixel, source, letter);
    }
    const auto [low, width] = target.channels.at(letter);
    result |= value >> (8 - width) << low;
  }
  return result;
}

int bytes(PixelFormat format) {
  return format_of_name(format).bits / 8;
}

uint32_t pixel_at(const uint8_t *data, int size) {
  uint32_t pixel = 0;
  memcpy(&pixel, data, static_cast<size_t>(size));
  return pixel;
}

std::vector<uint8_t> random_bytes(size_t size) {
  std::vector<uint8_t> data(size);
  for (uint8_t &byte : data) byte = static_cast<uint8_t>(random_number() >> 8);
  return data;
}

unsigned long channel_mask(PixelFormat format, char letter) {
  const auto [low, width] = format_of_name(format).channels.at(letter);
  return ((1UL << width) - 1) << low;
}

/* A frame image between two rows of other bytes, each of its rows followed by some more. */
struct Frame {
  PixelFormat format;
  XImage image = {};
  std::vector<uint8_t> memory;

  Frame(PixelFormat format_, int width, int height) : format(format_) {
    image.width = width;
    image.height = height;
    image.bytes_per_line = (width * bytes(format) + 3) / 4 * 4 + 4;
    image.red_mask = channel_mask(format, 'R');
    image.green_mask = channel_mask(format, 'G');
    image.blue_mask = channel_mask(format, 'B');
    memory = random_bytes(static_cast<size_t>(image.bytes_per_line * (height + 2)));
    image.data = reinterpret_cast<char *>(memory.data()) + image.bytes_per_line;
  }
};

/* A rectangle whose rows are exactly as long as its allocation. */
struct Rectangle {
  PixelFormat format;
  QomImage image = {};
  std::vector<uint8_t> memory;
  int stride;

  Rectangle(PixelFormat format_, int x, int y, int width, int height) : format(format_) {
    const int size = bytes(format) * 8;
    const int pad = size == 32 || scanline_pad == 0 ? 8 : scanline_pad;
    stride = (width * size + pad - 1) / pad * pad / 8;
    memory = random_bytes(static_cast<size_t>(stride * height));
    image.type = QOM_IMAGE;
    image.x = static_cast<int16_t>(x);
    image.y = static_cast<int16_t>(y);
    image.width = static_cast<uint16_t>(width);
    image.height = static_cast<uint16_t>(height);
    image.data = memory.data();
  }
};

std::vector<uint8_t> memory_expected(const Rectangle &from, const Frame &to) {
  std::vector<uint8_t> memory = to.memory;
  for (int row = 0; row < from.image.height; ++row)
    for (int column = 0; column < from.image.width; ++column) {
      const int x = from.image.x + column, y = from.image.y + row;
      if (x < 0 || x >= to.image.width || y < 0 || y >= to.image.height) continue;
      const uint8_t *source = &from.memory[from.stride * row + bytes(from.format) * column];
      const uint32_t pixel =
          pixel_expected(pixel_at(source, bytes(from.format)), from.format, to.format);
      memcpy(&memory[to.image.bytes_per_line * (y + 1) + bytes(to.format) * x], &pixel,
             static_cast<size_t>(bytes(to.format)));
    }
  return memory;
}

bool merges_as_expected(const Rectangle &from, Frame &to) {
  const std::vector<uint8_t> expected = memory_expected(from, to);
  merge_define(from.format, to.format)(&from.image, &to.image);
  return to.memory == expected;
}

class Merge : public testing::Test {
 protected:
  void SetUp() override {
    scanline_pad = 8;
    colours.resize(256);
    for (RgbValue &colour : colours)
      colour = {static_cast<uint16_t>(random_number()), static_cast<uint16_t>(random_number()),
                static_cast<uint16_t>(random_number()), 0};
    palette_use(colours);
  }

  void palette_use(std::vector<RgbValue> &entries) {
    QomHeader header = {};
    header.palette_size = static_cast<uint16_t>(entries.size());
    header.palette = entries.data();
    palette_set(&header);
  }
};

template <class Visit>
void for_each_pair(Visit visit) {
  for (int from = 0; from < 256; ++from)
    for (int to = 0; to < 256; ++to)
      if (merge_define(static_cast<PixelFormat>(from), static_cast<PixelFormat>(to)))
        visit(static_cast<PixelFormat>(from), static_cast<PixelFormat>(to));
}

}  // namespace

/* In place of the library's, so that the test can count. */
extern "C" void qom_record_dump(const void *) {
  ++dumps;
}

TEST(MergeTable, HasExactlyTheSupportedPairs) {
  std::map<PixelFormat, std::vector<PixelFormat>> sources;
  for_each_pair([&](PixelFormat from, PixelFormat to) { sources[to].push_back(from); });
  const std::vector<PixelFormat> narrow = {RGB565, BGR565, xRGB8888, xBGR8888};
  const std::vector<PixelFormat> wide = {PALETTE8, RGB332,   BGR233,   RGB565,  BGR565,
                                         xRGB8888, xBGR8888, RGBx8888, BGRx8888};
  const decltype(sources) expected = {
      {RGB565, narrow}, {BGR565, narrow}, {xRGB8888, wide}, {xBGR8888, wide}};
  EXPECT_EQ(sources, expected);
}

TEST_F(Merge, ConvertsAndClipsEveryPair) {
  const int width = 37, height = 11;
  for_each_pair([&](PixelFormat from, PixelFormat to) {
    for (const int pad : {0, 8, 16, 32, 64}) {
      scanline_pad = static_cast<uint8_t>(pad);
      for (const auto &[w, h] : {std::pair{1, 1}, {7, 3}, {33, 2}, {45, 15}})
        for (const int x : {-32768, -w, -3, 0, 5, width - 2, width, 32767})
          for (const int y : {-32768, -h, -1, 0, height - 1, height, 32767}) {
            const Rectangle rectangle(from, x, y, w, h);
            Frame frame(to, width, height);
            ASSERT_TRUE(merges_as_expected(rectangle, frame))
                << pixel_format_string(from) << " into " << pixel_format_string(to) << ", " << w
                << "x" << h << " at " << x << "," << y << ", pad " << pad;
          }
    }
  });
}

TEST_F(Merge, DoesNotWrapAtSixteenBits) {
  for (const auto &[from, to] : {std::pair{RGB332, xBGR8888}, {RGB565, BGR565}})
    for (const int position : {-32768, -1, 0, 20000, 32767}) {
      const Rectangle row(from, position, 0, 65535, 1), column(from, 0, position, 1, 65535);
      Frame wide(to, 40000, 2), high(to, 2, 40000);
      EXPECT_TRUE(merges_as_expected(row, wide)) << position;
      EXPECT_TRUE(merges_as_expected(column, high)) << position;
    }
}

TEST_F(Merge, TellsTouchingFromApart) {
  const Frame frame(xRGB8888, 10, 10);
  const auto clip = [&](int x, int y) {
    const Rectangle rectangle(RGB332, x, y, 4, 4);
    const XRectangle r = rectangle_from_image_intersection(&rectangle.image, &frame.image);
    return std::vector<int>{r.x, r.y, r.width, r.height};
  };
  EXPECT_EQ(clip(-2, 7), (std::vector{0, 7, 2, 3}));
  EXPECT_EQ(clip(-4, 7), (std::vector{0, 7, 0, 3}));
  EXPECT_EQ(clip(10, 7), (std::vector{10, 7, 0, 3}));
  EXPECT_EQ(clip(-5, 7), (std::vector{0, 0, 0, 0}));
  EXPECT_EQ(clip(7, 11), (std::vector{0, 0, 0, 0}));
}

TEST_F(Merge, DumpsCopiedRecordsThatReachPastTheFrame) {
  const auto dumped = [](PixelFormat from, PixelFormat to, int x, int y) {
    dumps = 0;
    const Rectangle rectangle(from, x, y, 4, 4);
    Frame frame(to, 10, 10);
    merge_define(from, to)(&rectangle.image, &frame.image);
    return dumps;
  };
  EXPECT_EQ(dumped(xRGB8888, xRGB8888, 6, 6), 0);
  EXPECT_EQ(dumped(xRGB8888, xRGB8888, -2, -2), 0);
  EXPECT_EQ(dumped(xRGB8888, xRGB8888, 7, 0), 1);
  EXPECT_EQ(dumped(xBGR8888, xBGR8888, 0, 7), 1);
  EXPECT_EQ(dumped(xBGR8888, xRGB8888, 7, 7), 0);
}

TEST_F(Merge, SeesEveryChangeOfThePalette) {
  const auto use_and_merge = [&](std::vector<RgbValue> entries) {
    palette_use(entries);
    std::copy_n(entries.begin(), std::min<size_t>(entries.size(), 256), colours.begin());
    for (const PixelFormat to : {xRGB8888, xBGR8888}) {
      const Rectangle rectangle(PALETTE8, 0, 0, 64, 64);
      Frame frame(to, 64, 64);
      EXPECT_TRUE(merges_as_expected(rectangle, frame)) << entries.size() << " entries";
    }
  };
  use_and_merge({{0x1234, 0x5678, 0x9ABC, 0}, {1, 2, 3, 0}});
  EXPECT_EQ(palette_size, 2U);
  use_and_merge(std::vector<RgbValue>(300, {0x0102, 0x0304, 0x0506, 0}));
  EXPECT_EQ(palette_size, 256U);
  EXPECT_EQ(palette[255].pixel, 255U);
  EXPECT_EQ(palette[255].red, 0x0102);
  use_and_merge({});
}

TEST(PixelFormat, IsKnownByClassAndMasks) {
  const auto visual = [](int visual_class, PixelFormat format) {
    XVisualInfo info = {};
    info.c_class = visual_class;
    info.red_mask = channel_mask(format, 'R');
    info.green_mask = channel_mask(format, 'G');
    info.blue_mask = channel_mask(format, 'B');
    return info;
  };
  using Detect = PixelFormat (*)(const XVisualInfo *);
  const std::map<Detect, std::set<PixelFormat>> formats = {
      {pixel_format_depth_8, {RGB332, BGR233}},
      {pixel_format_depth_16, {RGB565, BGR565}},
      {pixel_format_depth_24, {xRGB8888, xBGR8888}},
      {pixel_format_depth_32, {xRGB8888, xBGR8888, RGBx8888, BGRx8888}}};
  for (const auto &[detect, known] : formats)
    for (int code = RGB332; code <= BGRx8888; ++code) {
      const auto format = static_cast<PixelFormat>(code);
      const XVisualInfo direct = visual(DirectColor, format), plain = visual(TrueColor, format);
      EXPECT_EQ(detect(&plain), known.contains(format) ? format : FORMAT_UNKNOWN);
      EXPECT_EQ(detect(&direct), FORMAT_UNKNOWN);
    }
}
