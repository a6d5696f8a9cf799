#include "yuv_image.h"

#include <algorithm>

namespace qomtool {
namespace {

// Parts of a 65536th, such that white has a luma of 235 and greys no chroma.
constexpr int32_t kScale = 16;
constexpr int32_t kLuma[] = {11966, 40254, 4064};
constexpr int32_t kBlueChroma[] = {-6596, -22189, 28785};
constexpr int32_t kRedChroma[] = {28784, -26145, -2639};

uint8_t weighed(const int32_t *weights, int32_t red, int32_t green, int32_t blue, int32_t offset,
                int32_t scale) {
  const int32_t half = 1 << (scale - 1);
  return static_cast<uint8_t>(
      (weights[0] * red + weights[1] * green + weights[2] * blue + (offset << scale) + half) >>
      scale);
}

void to_luma(const uint8_t *rgb, uint32_t count, uint8_t *luma) {
  for (size_t i = 0; i < count; ++i)
    luma[i] = weighed(kLuma, rgb[3 * i], rgb[3 * i + 1], rgb[3 * i + 2], 16, kScale);
}

// Of four pixels each, the mean.
void to_chroma(const uint8_t *above, const uint8_t *below, uint32_t count, uint8_t *blue_chroma,
               uint8_t *red_chroma) {
  for (uint32_t i = 0; i < count; ++i) {
    const uint32_t at = 6 * i;
    const auto sum = [&](uint32_t c) {
      return above[at + c] + above[at + 3 + c] + below[at + c] + below[at + 3 + c];
    };
    const int32_t red = sum(0), green = sum(1), blue = sum(2);
    blue_chroma[i] = weighed(kBlueChroma, red, green, blue, 128, kScale + 2);
    red_chroma[i] = weighed(kRedChroma, red, green, blue, 128, kScale + 2);
  }
}

}  // namespace

YuvImage::YuvImage(PictureSize size)
    : size_(size), bytes_(size_t{size.width} * size.height * 3 / 2, 128) {
  std::fill_n(bytes_.begin(), size_t{size.width} * size.height, uint8_t{16});
}

uint8_t *YuvImage::chroma(uint32_t plane, uint32_t row) {
  const size_t pixels = size_t{size_.width} * size_.height;
  return bytes_.data() + pixels + plane * pixels / 4 + size_t{row} * size_.width / 2;
}

void YuvImage::take(const RgbImage &picture, const QomRectangle &area) {
  const uint32_t left = static_cast<uint32_t>(area.x) & ~1u;
  const uint32_t top = static_cast<uint32_t>(area.y) & ~1u;
  const uint32_t right = (static_cast<uint32_t>(area.x + area.width) + 1) & ~1u;
  const uint32_t bottom = (static_cast<uint32_t>(area.y + area.height) + 1) & ~1u;
  for (uint32_t y = top; y < bottom; y += 2) {
    const uint8_t *above = picture.row(y) + size_t{left} * 3;
    const uint8_t *below = picture.row(y + 1) + size_t{left} * 3;
    uint8_t *luma = bytes_.data() + size_t{y} * size_.width + left;
    to_luma(above, right - left, luma);
    to_luma(below, right - left, luma + size_.width);
    to_chroma(above, below, (right - left) / 2, chroma(0, y / 2) + left / 2,
              chroma(1, y / 2) + left / 2);
  }
}

}  // namespace qomtool
