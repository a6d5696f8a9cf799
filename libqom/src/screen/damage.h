// Rectangles of a picture that changed: a few as they are, many as their bounds.
#pragma once

#include <cstddef>

#include "qom/picture.h"

namespace qom {

// The smallest rectangle around both; an empty one counts for nothing.
QomRectangle bounds_of(const QomRectangle &a, const QomRectangle &b);

// The common part; no width or height when there is none.
QomRectangle common_part(const QomRectangle &a, const QomRectangle &b);

inline bool is_empty(const QomRectangle &rectangle) {
  return rectangle.width <= 0 || rectangle.height <= 0;
}

class Damage {
 public:
  void add(const QomRectangle &rectangle);
  void clear() { count_ = 0; }

  // Moves them to `rectangles`, at most `room`, what does not fit as the bounds in the last one.
  size_t take(QomRectangle *rectangles, size_t room);

 private:
  static constexpr size_t most = 64;
  QomRectangle rectangles_[most];
  size_t count_ = 0;
};

}  // namespace qom
