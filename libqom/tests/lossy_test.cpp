// Lossy pixels: what is near, what stays exact, what hostile bytes cause, and the marks.
#include <cmath>
#include <numbers>

#include "fixture.h"
#include "session.h"

namespace {

constexpr PixelFormat formats[] = {xRGB8888, xBGR8888, RGBx8888, BGRx8888};

// A rectangle that looks like a photograph.
Bytes photograph(PixelFormat format, unsigned width, unsigned height) {
  auto channel = channels(format);
  Bytes pixels;
  for (unsigned y = 0; y < height; ++y)
    for (unsigned x = 0; x < width; ++x) {
      const auto wave = [&](double a, double b) {
        return static_cast<uint32_t>(127 + 120 * std::sin(a * x / 20 + b * y / 30));
      };
      forge::append(&pixels, wave(1, 1) << channel['R'].first | wave(1, -1) << channel['G'].first |
                                 wave(.5, 2) << channel['B'].first);
    }
  return pixels;
}

Bytes block(int16_t x, int16_t y, uint16_t width, uint16_t height, PixelFormat format = xRGB8888) {
  Bytes bytes;
  for (const auto value : {static_cast<uint16_t>(x), static_cast<uint16_t>(y), width, height})
    forge::append(&bytes, value);
  return bytes + photograph(format, width, height);
}

Record lossy_blocks(const Bytes &blocks, PixelFormat format = xRGB8888, int quality = 90,
                    uint64_t time = 1000) {
  const QomImageBlocks plain = {QOM_IMAGE_BLOCKS, time, static_cast<uint32_t>(blocks.size()),
                                const_cast<uint8_t *>(blocks.data())};
  return Record(
      reinterpret_cast<QomRecord *>(qom_image_blocks_compress_lossy(&plain, format, quality)));
}

Record photographic_image(uint16_t width, uint16_t height, const Bytes &pixels) {
  QomImage image = {};
  image.type = QOM_IMAGE;
  image.timestamp = 1000;
  image.width = width;
  image.height = height;
  image.pixel_format = xRGB8888;
  image.scanline_pad = 32;
  image.bytes_per_line = 4u * width;
  image.length = static_cast<uint32_t>(pixels.size());
  image.data = const_cast<uint8_t *>(pixels.data());
  return keep(image);
}

Bytes data_of(const Record &record) {
  const bool blocks = record->type == QOM_IMAGE_BLOCKS;
  const uint8_t *data = blocks ? as<QomImageBlocks>(record).data : as<QomImage>(record).data;
  const uint32_t length = blocks ? as<QomImageBlocks>(record).length : as<QomImage>(record).length;
  return {data, data + length};
}

// The mean square of what is wrong with a byte.
double error(const Bytes &a, const Bytes &b) {
  double sum = 0;
  for (size_t i = 0; i < a.size(); ++i) sum += (a[i] - b[i]) * (a[i] - b[i]);
  return sum / static_cast<double>(a.size());
}

std::vector<QomRectangle> areas_of(const Record &record) {
  std::vector<QomRectangle> areas(qom_lossy_areas(record.get(), nullptr, 0));
  qom_lossy_areas(record.get(), areas.data(), areas.size());
  return areas;
}

std::string text_of(const std::vector<QomRectangle> &areas) {
  std::string text;
  for (const QomRectangle &area : areas)
    text += (text.empty() ? "" : " ") + std::to_string(area.width) + "x" +
            std::to_string(area.height) + "+" + std::to_string(area.x) + "+" +
            std::to_string(area.y);
  return text;
}

class Lossy : public RecordingTest {
 protected:
  void SetUp() override {
    if (!qom_can_compress_lossy()) GTEST_SKIP() << "built without the codec";
  }
};

TEST_F(Lossy, PixelsAreNearInEveryFormatAndTheSameInParts) {
  for (const PixelFormat format : formats) {
    const Bytes plain = block(-3, 5, 301, 77, format) + block(400, 5, 64, 64, format);
    const Record packed = lossy_blocks(plain, format);
    ASSERT_TRUE(packed);
    EXPECT_LT(as<QomCompressedImageBlocks>(packed).compressed_length, plain.size() / 5);
    const Record back = uncompressed(packed);
    ASSERT_TRUE(back) << qom_reader_error();
    ASSERT_EQ(data_of(back).size(), plain.size());
    EXPECT_LT(error(data_of(back), plain), 12) << pixel_format_string(format);
    EXPECT_EQ(describe(uncompressed_in_parts(packed, 5000).get()), describe(back.get()));
    EXPECT_EQ(text_of(areas_of(packed)), "301x77+-3+5 64x64+400+5");
  }
}

TEST_F(Lossy, WhatIsTooSmallOrOfAnotherFormatStaysExact) {
  const Bytes small = block(1, 2, 3, 4);
  const Record mixed = lossy_blocks(small + block(10, 10, 64, 64));
  EXPECT_EQ(text_of(areas_of(mixed)), "64x64+10+10");
  const Bytes back = data_of(uncompressed(mixed));
  EXPECT_EQ(Bytes(back.end() - static_cast<long>(small.size()), back.end()), small);
  EXPECT_TRUE(areas_of(lossy_blocks(small)).empty());
  EXPECT_TRUE(areas_of(lossy_blocks(block(0, 0, 64, 64, ARGB8888), ARGB8888)).empty());
}

TEST_F(Lossy, AnImageHasLossyAreasAndIsExactBesides) {
  const Bytes pixels = photograph(xRGB8888, 300, 200);
  const Record plain = photographic_image(300, 200, pixels);
  const QomRectangle area = {100, 50, 128, 96};
  const Record packed(
      reinterpret_cast<QomRecord *>(qom_image_compress_lossy(&as<QomImage>(plain), &area, 1, 90)));
  ASSERT_TRUE(packed);
  const Bytes back = data_of(uncompressed(packed));
  EXPECT_EQ(describe(uncompressed_in_parts(packed, 5000).get()),
            describe(uncompressed(packed).get()));
  bool differs = false;
  for (int y = 0; y < 200; ++y)
    for (int x = 0; x < 300; ++x) {
      const bool inside = x >= 100 && x < 228 && y >= 50 && y < 146;
      const bool same =
          std::memcmp(&back[size_t(y * 300 + x) * 4], &pixels[size_t(y * 300 + x) * 4], 4) == 0;
      ASSERT_TRUE(same || inside) << x << "," << y;
      differs = differs || !same;
    }
  EXPECT_TRUE(differs);
  EXPECT_LT(error(back, pixels), 12);

  const Record marked(
      reinterpret_cast<QomRecord *>(qom_image_compress_marked(&as<QomImage>(plain), &area, 1)));
  EXPECT_EQ(data_of(uncompressed(marked)), pixels);
  EXPECT_EQ(text_of(areas_of(marked)), "128x96+100+50");
  const QomRectangle outside = {200, 50, 128, 96};
  EXPECT_FALSE(qom_image_compress_lossy(&as<QomImage>(plain), &outside, 1, 90));
}

// Whatever a byte of it becomes, the answer is pixels of the right size or a refusal.
TEST_F(Lossy, ChangedBytesAreRefusedOrGivePixels) {
  const Record packed = lossy_blocks(block(0, 0, 48, 40) + block(1, 2, 2, 2), xRGB8888, 50);
  auto &blocks = as<QomCompressedImageBlocks>(packed);
  int refused = 0;
  for (uint32_t at = 1; at < blocks.compressed_length; ++at)
    for (const int change : {0x01, 0x80, 0xFF}) {
      blocks.data[at] = static_cast<uint8_t>(blocks.data[at] ^ change);
      const Record back = uncompressed_in_parts(packed, 3000);
      refused += !back;
      ASSERT_TRUE(!back || data_of(back).size() == blocks.length);
      blocks.data[at] = static_cast<uint8_t>(blocks.data[at] ^ change);
    }
  EXPECT_GT(refused, 300);
  const uint32_t whole = blocks.compressed_length;
  for (blocks.compressed_length = 2; blocks.compressed_length < whole; ++blocks.compressed_length)
    ASSERT_FALSE(uncompressed(packed)) << blocks.compressed_length;
}

}  // namespace
