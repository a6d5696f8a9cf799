#include "screen/region.h"

#include <algorithm>

#include "screen/damage.h"

namespace qom {
namespace {

// What is left of a rectangle without a part of it; up to four rectangles.
size_t without(const QomRectangle &whole, const QomRectangle &part, QomRectangle *left) {
  const int32_t right = whole.x + whole.width;
  const int32_t bottom = whole.y + whole.height;
  const int32_t part_right = part.x + part.width;
  const int32_t part_bottom = part.y + part.height;
  const QomRectangle sides[] = {
      {whole.x, whole.y, whole.width, part.y - whole.y},
      {whole.x, part.y, part.x - whole.x, part.height},
      {part_right, part.y, right - part_right, part.height},
      {whole.x, part_bottom, whole.width, bottom - part_bottom},
  };
  size_t count = 0;
  for (const QomRectangle &side : sides)
    if (!is_empty(side)) left[count++] = side;
  return count;
}

}  // namespace

void Region::add(const QomRectangle &area) {
  if (is_empty(area)) return;
  remove(area);
  const bool meets = std::any_of(begin(), end(), [&](const QomRectangle &rectangle) {
    return !is_empty(common_part(rectangle, area));
  });
  if (!meets && count_ < QOM_MAX_LOSSY_AREAS) {
    rectangles_[count_++] = area;
    return;
  }
  QomRectangle all = area;
  for (const QomRectangle &rectangle : *this) all = bounds_of(all, rectangle);
  rectangles_[0] = all;
  count_ = 1;
}

// A rectangle for whose pieces there is no room stays whole.
void Region::remove(const QomRectangle &area) {
  for (size_t i = count_; i-- > 0;) {
    const QomRectangle part = common_part(rectangles_[i], area);
    if (is_empty(part)) continue;
    QomRectangle left[4];
    const size_t pieces = without(rectangles_[i], part, left);
    if (count_ - 1 + pieces > QOM_MAX_LOSSY_AREAS) continue;
    drop(i);
    count_ = static_cast<size_t>(std::copy_n(left, pieces, rectangles_ + count_) - rectangles_);
  }
}

void Region::copy(const QomRectangle &area, int32_t x, int32_t y) {
  Region moved;
  for (const QomRectangle &rectangle : *this) {
    const QomRectangle part = common_part(rectangle, area);
    moved.rectangles_[moved.count_++] = {part.x - area.x + x, part.y - area.y + y, part.width,
                                         part.height};
  }
  remove({x, y, area.width, area.height});
  for (const QomRectangle &part : moved) add(part);
}

void Region::clip(int32_t width, int32_t height) {
  for (size_t i = count_; i-- > 0;) {
    rectangles_[i] = common_part(rectangles_[i], {0, 0, width, height});
    if (is_empty(rectangles_[i])) drop(i);
  }
}

uint64_t Region::pixels() const {
  uint64_t pixels = 0;
  for (const QomRectangle &rectangle : *this)
    pixels += static_cast<uint64_t>(rectangle.width) * static_cast<uint64_t>(rectangle.height);
  return pixels;
}

}  // namespace qom
