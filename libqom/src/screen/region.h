// Areas of a picture, as rectangles that have no pixel in common: a few as they are, many grow.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qom/screen.h"

namespace qom {

// May hold more than was added and not taken away, never less.
class Region {
 public:
  void add(const QomRectangle &area);
  void remove(const QomRectangle &area);
  void clear() { count_ = 0; }

  // What lies within `area` is also at another place, `x`, `y`; what was there is not.
  void copy(const QomRectangle &area, int32_t x, int32_t y);

  // Keeps what lies within a picture of that size.
  void clip(int32_t width, int32_t height);

  bool empty() const { return count_ == 0; }
  size_t count() const { return count_; }
  const QomRectangle *begin() const { return rectangles_; }
  const QomRectangle *end() const { return rectangles_ + count_; }
  uint64_t pixels() const;

 private:
  void drop(size_t i) { rectangles_[i] = rectangles_[--count_]; }

  size_t count_ = 0;
  QomRectangle rectangles_[QOM_MAX_LOSSY_AREAS];
};

}  // namespace qom
