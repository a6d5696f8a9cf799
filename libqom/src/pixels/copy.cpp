// Areas of a picture copied within it.
#include <algorithm>
#include <cstring>

#include "qom/picture.h"

namespace {

// The part [begin, end) of `length` pixels for which both places lie within `limit` pixels.
struct Part {
  int32_t begin;
  int32_t end;

  Part(int32_t from, int32_t to, int32_t length, int32_t limit)
      : begin(std::max({0, -from, -to})), end(std::min({length, limit - from, limit - to})) {}
  bool is_empty() const { return begin >= end; }
};

}  // namespace

extern "C" QomRectangle qom_picture_copy(const QomPicture *picture, const QomCopy *copy) {
  const Part columns(copy->x, copy->to_x, copy->width, picture->width);
  const Part rows(copy->y, copy->to_y, copy->height, picture->height);
  if (columns.is_empty() || rows.is_empty()) return {};
  const size_t pixel_bytes = pixel_format_bytes_per_pixel(picture->pixel_format);
  const QomRectangle target = {copy->to_x + columns.begin, copy->to_y + rows.begin,
                               columns.end - columns.begin, rows.end - rows.begin};
  const auto pixels = [&](int32_t x, int32_t y) {
    return picture->pixels + static_cast<size_t>(y) * picture->stride +
           static_cast<size_t>(x) * pixel_bytes;
  };
  const size_t bytes = static_cast<size_t>(target.width) * pixel_bytes;
  const bool upward = copy->to_y <= copy->y;  // no row is written before it is read
  for (int32_t i = 0; i < target.height; ++i) {
    const int32_t row = upward ? rows.begin + i : rows.end - 1 - i;
    std::memmove(pixels(target.x, copy->to_y + row), pixels(copy->x + columns.begin, copy->y + row),
                 bytes);
  }
  return target;
}
