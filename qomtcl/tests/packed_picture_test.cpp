// Packing pictures: what unpacks is what was packed, whatever is shared.
#include "playback/packed_picture.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

// A picture with its own memory; rows are longer than their pixels, and the rest of each row
// must stay as it is.
class Picture {
 public:
  Picture(int width, int height, int bytes_per_pixel)
      : pixels_(static_cast<size_t>(height) * (static_cast<size_t>(width * bytes_per_pixel) + 12),
                0xA5),
        rows_{pixels_.data(), width, height, static_cast<size_t>(width * bytes_per_pixel) + 12,
              bytes_per_pixel} {}
  Picture(const Picture &other) : pixels_(other.pixels_), rows_(other.rows_) {
    rows_.data = pixels_.data();
  }

  const PictureRows &rows() const { return rows_; }

  void noise(unsigned seed, int top, int bottom, int shades) {
    std::mt19937 random(seed);
    for (int y = top; y < bottom; ++y)
      for (size_t i = 0; i < row_bytes(); ++i)
        row(y)[i] = static_cast<uint8_t>(random() % static_cast<unsigned>(shades));
  }

  void poke(int x, int y) { row(y)[static_cast<size_t>(x * rows_.bytes_per_pixel)] ^= 1; }

  bool operator==(const Picture &other) const { return pixels_ == other.pixels_; }

 private:
  uint8_t *row(int y) { return rows_.data + static_cast<size_t>(y) * rows_.stride; }
  size_t row_bytes() const { return static_cast<size_t>(rows_.width * rows_.bytes_per_pixel); }

  std::vector<uint8_t> pixels_;
  PictureRows rows_;
};

struct Release {
  void operator()(PackedPicture *picture) const { picture_release(picture); }
};
using Packed = std::unique_ptr<PackedPicture, Release>;

Picture unpacked(const Packed &packed, const PictureRows &like) {
  Picture picture(like.width, like.height, like.bytes_per_pixel);
  EXPECT_TRUE(picture_unpack(packed.get(), picture.rows()));
  return picture;
}

// Sizes at, below and above the edges of tiles, all pixel sizes, all forms of tiles.
TEST(PackedPicture, UnpacksWhatWasPacked) {
  for (const auto &[width, height] :
       {std::pair{1, 1}, {255, 127}, {256, 128}, {257, 129}, {700, 300}})
    for (const int bytes : {1, 2, 4}) {
      Picture mixed(width, height, bytes);
      mixed.noise(1, height / 3, height / 2, 2);  // compresses well
      mixed.noise(2, height / 2, height, 256);    // does not compress
      Picture almost_one_colour(width, height, bytes);
      almost_one_colour.poke(width - 1, height - 1);
      for (const Picture &picture : {mixed, almost_one_colour}) {
        const Packed packed(picture_pack(picture.rows(), nullptr, nullptr));
        EXPECT_TRUE(unpacked(packed, picture.rows()) == picture) << width << "x" << height;
      }
    }
}

TEST(PackedPicture, SharesUnchangedTilesAndOutlivesThePictureBefore) {
  Picture first(1920, 1080, 4);
  first.noise(7, 0, 1080, 256);
  Packed packed_first(picture_pack(first.rows(), nullptr, nullptr));
  Picture second = first;
  second.poke(1000, 500);
  Packed packed_second(picture_pack(second.rows(), packed_first.get(), &first.rows()));
  EXPECT_LT(picture_own_bytes(packed_second.get()), picture_own_bytes(packed_first.get()) / 50);
  EXPECT_TRUE(unpacked(packed_first, first.rows()) == first);
  const size_t held =
      picture_own_bytes(packed_first.get()) + picture_own_bytes(packed_second.get());
  const size_t freed = picture_release(packed_first.release());
  EXPECT_LT(freed, held / 20);
  EXPECT_TRUE(unpacked(packed_second, second.rows()) == second);
  EXPECT_EQ(picture_release(packed_second.release()), held - freed);
}

TEST(PackedPicture, RefusesAnotherGeometryAndDoesNotShareWithIt) {
  Picture small(300, 100, 4);
  small.noise(1, 0, 100, 4);
  const Packed packed(picture_pack(small.rows(), nullptr, nullptr));
  Picture large(301, 100, 4);
  large.noise(2, 0, 100, 4);
  EXPECT_FALSE(picture_unpack(packed.get(), large.rows()));
  const Packed packed_large(picture_pack(large.rows(), packed.get(), &small.rows()));
  EXPECT_TRUE(unpacked(packed_large, large.rows()) == large);
}

}  // namespace
