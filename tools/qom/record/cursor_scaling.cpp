#include "cursor_scaling.h"

#include <algorithm>
#include <array>

namespace qom::record {
namespace {

// The mean of the pixels in the rectangle. Colours are multiplied by alpha already, so that every
// channel is a plain mean.
uint32_t mean(const CursorShape &shape, int left, int top, int right, int bottom) {
  std::array<uint64_t, 4> sums{};
  for (int y = top; y < bottom; y++) {
    for (int x = left; x < right; x++) {
      const uint32_t pixel = shape.pixels[static_cast<size_t>(y) * shape.width + x];
      for (size_t i = 0; i < sums.size(); i++) sums[i] += pixel >> (8 * i) & 0xff;
    }
  }
  const auto count = static_cast<uint64_t>(right - left) * static_cast<uint64_t>(bottom - top);
  uint32_t result = 0;
  for (size_t i = 0; i < sums.size(); i++) {
    result |= static_cast<uint32_t>((sums[i] + count / 2) / count) << (8 * i);
  }
  return result;
}

}  // namespace

CursorShape scaled_to_fit(CursorShape shape, int most) {
  const int side = (std::max(shape.width, shape.height) + most - 1) / most;  // of a square
  if (side <= 1) return shape;
  CursorShape scaled;
  scaled.width = (shape.width + side - 1) / side;
  scaled.height = (shape.height + side - 1) / side;
  scaled.hot_x = shape.hot_x / side;
  scaled.hot_y = shape.hot_y / side;
  scaled.serial = shape.serial;
  scaled.pixels.clear();
  for (int y = 0; y < shape.height; y += side) {
    for (int x = 0; x < shape.width; x += side) {
      scaled.pixels.push_back(
          mean(shape, x, y, std::min(x + side, shape.width), std::min(y + side, shape.height)));
    }
  }
  return scaled;
}

}  // namespace qom::record
