// Packing pictures: what unpacks is what was packed, whatever is shared.
#include "pixels/packed_picture.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <random>
#include <vector>

using namespace qom;

namespace {

// A picture with its own memory, of one colour; rows are longer than their pixels, and the rest of
// each row must stay as it is.
struct Picture {
  Picture(int width, int height, int bytes_per_pixel)
      : stride(static_cast<size_t>(width * bytes_per_pixel) + 12),
        size{nullptr, width, height, stride, bytes_per_pixel},
        pixels(stride * static_cast<size_t>(height), 0xA5) {}

  PictureRows rows() {
    PictureRows result = size;
    result.data = pixels.data();
    return result;
  }
  // Random values below `shades` from the row `top` on.
  void noise(int top, unsigned shades) {
    std::mt19937 random(shades);
    for (int y = top; y < size.height; ++y)
      for (size_t i = 0; i < stride - 12; ++i)
        pixels[static_cast<size_t>(y) * stride + i] = static_cast<uint8_t>(random() % shades);
  }

  size_t stride;
  PictureRows size;
  std::vector<uint8_t> pixels;
};

struct Release {
  void operator()(PackedPicture *picture) const { picture_release(picture); }
};
using Packed = std::unique_ptr<PackedPicture, Release>;

bool unpacks_to(const Packed &packed, const Picture &picture) {
  Picture unpacked(picture.size.width, picture.size.height, picture.size.bytes_per_pixel);
  return picture_unpack(packed.get(), unpacked.rows()) && unpacked.pixels == picture.pixels;
}

// Sizes at, below and above the edges of tiles, all pixel sizes, all forms of tiles; the picture
// before has another geometry.
TEST(PackedPicture, UnpacksWhatWasPacked) {
  Picture before(300, 100, 4);
  const Packed packed_before(picture_pack(before.rows(), nullptr, nullptr));
  for (const auto &[width, height] :
       {std::pair{1, 1}, {255, 127}, {256, 128}, {257, 129}, {301, 100}, {700, 300}})
    for (const int bytes : {1, 2, 4}) {
      Picture mixed(width, height, bytes);
      mixed.noise(height / 3, 2);    // compresses well
      mixed.noise(height / 2, 256);  // does not compress
      Picture almost_one_colour(width, height, bytes);
      almost_one_colour.pixels[almost_one_colour.pixels.size() - 13] ^= 1;
      for (Picture &picture : {std::ref(mixed), std::ref(almost_one_colour)}) {
        const PictureRows rows = before.rows();
        const Packed packed(picture_pack(picture.rows(), packed_before.get(), &rows));
        EXPECT_TRUE(unpacks_to(packed, picture)) << width << "x" << height;
        EXPECT_FALSE(picture_unpack(packed.get(), rows));
      }
    }
}

TEST(PackedPicture, SharesUnchangedTilesAndOutlivesThePictureBefore) {
  Picture first(1920, 1080, 4);
  first.noise(0, 256);
  Packed packed_first(picture_pack(first.rows(), nullptr, nullptr));
  Picture second = first;
  second.pixels[500 * second.stride + 4000] ^= 1;
  const PictureRows rows = first.rows();
  Packed packed_second(picture_pack(second.rows(), packed_first.get(), &rows));
  const size_t own = picture_own_bytes(packed_second.get());
  const size_t held = picture_own_bytes(packed_first.get()) + own;
  EXPECT_LT(own, held / 50);
  EXPECT_TRUE(unpacks_to(packed_first, first));
  const size_t freed = picture_release(packed_first.release());
  EXPECT_LT(freed, held / 20);
  EXPECT_TRUE(unpacks_to(packed_second, second));
  EXPECT_EQ(picture_release(packed_second.release()), held - freed);
}

}  // namespace
