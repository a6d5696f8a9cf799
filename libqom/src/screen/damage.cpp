#include "screen/damage.h"

#include <algorithm>

namespace qom {
namespace {

bool holds(const QomRectangle &outer, const QomRectangle &inner) {
  return inner.x >= outer.x && inner.y >= outer.y &&
         inner.x + inner.width <= outer.x + outer.width &&
         inner.y + inner.height <= outer.y + outer.height;
}

}  // namespace

QomRectangle bounds_of(const QomRectangle &a, const QomRectangle &b) {
  if (is_empty(a)) return b;
  if (is_empty(b)) return a;
  const int32_t x = std::min(a.x, b.x);
  const int32_t y = std::min(a.y, b.y);
  return {x, y, std::max(a.x + a.width, b.x + b.width) - x,
          std::max(a.y + a.height, b.y + b.height) - y};
}

QomRectangle common_part(const QomRectangle &a, const QomRectangle &b) {
  const int32_t x = std::max(a.x, b.x);
  const int32_t y = std::max(a.y, b.y);
  return {x, y, std::min(a.x + a.width, b.x + b.width) - x,
          std::min(a.y + a.height, b.y + b.height) - y};
}

void Damage::add(const QomRectangle &rectangle) {
  if (is_empty(rectangle) || (count_ > 0 && holds(rectangles_[count_ - 1], rectangle))) return;
  if (count_ > 0 && holds(rectangle, rectangles_[count_ - 1])) --count_;
  if (count_ == most) {
    for (size_t i = 1; i < count_; ++i) rectangles_[0] = bounds_of(rectangles_[0], rectangles_[i]);
    count_ = 1;
  }
  rectangles_[count_++] = rectangle;
}

size_t Damage::take(QomRectangle *rectangles, size_t room) {
  if (room == 0) return 0;
  const size_t taken = std::min(count_, room);
  std::copy_n(rectangles_, taken, rectangles);
  for (size_t i = taken; i < count_; ++i)
    rectangles[taken - 1] = bounds_of(rectangles[taken - 1], rectangles_[i]);
  count_ = 0;
  return taken;
}

}  // namespace qom
