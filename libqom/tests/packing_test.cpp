// Packed blocks: whatever the pixels look like, they come back as they were.
#include "packing.h"

#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <memory>
#include <random>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

struct Packing : testing::Test {
  // A block whose pixels are of this many colours, or all random when there are none.
  void add(uint16_t width, uint16_t height, size_t colours) {
    const uint16_t head[] = {static_cast<uint16_t>(random()), static_cast<uint16_t>(random()),
                             width, height};
    append(head, sizeof head);
    std::vector<uint32_t> palette(colours);
    for (uint32_t &colour : palette) colour = static_cast<uint32_t>(random());
    for (size_t i = 0; i < size_t{width} * height; ++i) {
      const auto any = static_cast<uint32_t>(random());
      const uint32_t pixel = colours ? palette[i < colours ? i : any % colours] : any;
      append(&pixel, sizeof pixel);
    }
  }
  void append(const void *data, size_t length) {
    const auto *from = static_cast<const uint8_t *>(data);
    blocks.insert(blocks.end(), from, from + length);
  }

  Bytes pack() const {
    qom::Packed packed;
    if (!qom::pack_blocks(blocks.data(), blocks.size(), &packed)) return {};
    EXPECT_LE(packed.bytes.size(), qom::most_packed(blocks.size()));
    return {packed.bytes.begin(), packed.bytes.end()};
  }
  bool unpacks(Bytes packed, size_t length) const {
    const std::unique_ptr<uint8_t[]> exact(new uint8_t[length]);  // an overrun would be noticed
    return qom::unpack_blocks(packed.data(), packed.size(), exact.get(), length) &&
           (length != blocks.size() || std::memcmp(exact.get(), blocks.data(), length) == 0);
  }

  std::mt19937 random{11};
  Bytes blocks;
};

TEST_F(Packing, MixedBlocksComeBackInTheirOrder) {
  for (int round = 0; round < 200; ++round) {
    blocks.clear();
    for (size_t i = 0, count = 1 + random() % 40; i < count; ++i) {
      const size_t kinds[] = {1, 2, 15, 16, 17, 40, 255, 256, 257, 0};
      add(static_cast<uint16_t>(1 + random() % 70), static_cast<uint16_t>(1 + random() % 50),
          kinds[random() % std::size(kinds)]);
    }
    ASSERT_TRUE(unpacks(pack(), blocks.size()));
  }
}

TEST_F(Packing, ImagesComeBackFromTheirTiles) {
  for (const auto &[width, height] : {std::pair{1u, 1u}, {128u, 64u}, {129u, 65u}, {300u, 130u}}) {
    std::vector<uint32_t> image(size_t{width} * height);
    for (size_t i = 0; i < image.size(); ++i) {  // tiles of few colours, of many, and noise
      const auto any = static_cast<uint32_t>(random());
      image[i] = any % (i % width < 100 ? 3 : i / width < 70 ? 90 : UINT32_MAX);
    }
    const auto *pixels = reinterpret_cast<const uint8_t *>(image.data());
    qom::Packed packed;
    ASSERT_TRUE(qom::pack_image(pixels, width, height, &packed));
    EXPECT_LE(packed.bytes.size(), qom::most_packed(4 * image.size()));
    std::vector<uint32_t> again(image.size());
    auto *to = reinterpret_cast<uint8_t *>(again.data());
    EXPECT_TRUE(qom::unpack_image(packed.bytes.data(), packed.bytes.size(), to, width, height));
    EXPECT_EQ(again, image) << width << "x" << height;
    // Of the tiles of another image none may be put anywhere.
    auto *bytes = packed.bytes.data();
    EXPECT_FALSE(qom::unpack_image(bytes, packed.bytes.size(), to, width, height - 1));
  }
}

TEST_F(Packing, DamagedBytesStayInBounds) {
  for (const size_t colours : {4, 60, 0}) add(31, 17, colours);
  const Bytes good = pack();
  for (Bytes torn = good; !torn.empty();) {
    torn.pop_back();
    ASSERT_FALSE(unpacks(torn, blocks.size()));
  }
  EXPECT_FALSE(unpacks(good, blocks.size() - 1));
  // No residuals, and a group of one block 500 pixels wide and none high, in room for its head.
  Bytes flat(12);
  flat.insert(flat.end(), {3, 0, 1, 0, 0, 0, 0, 0, 0xF4, 1, 0, 0});
  EXPECT_FALSE(unpacks(flat, 8));
  EXPECT_FALSE(unpacks(good, blocks.size() + 1));
  for (int round = 0; round < 20000; ++round) {
    Bytes bad = good;
    bad[random() % (round % 2 ? 40 : bad.size())] ^= static_cast<uint8_t>(1 + random() % 255);
    unpacks(bad, blocks.size());
  }
}

}  // namespace
