// A rectangle of pixels. Which picture the coordinates belong to is said where it is used.
#ifndef QOM_RECORD_RECTANGLE_H
#define QOM_RECORD_RECTANGLE_H

#include <algorithm>

namespace qom::record {

struct Rectangle {
  int x = 0;
  int y = 0;
  int width = 0;  // pixels; nothing is inside when it is 0 or less
  int height = 0;

  bool operator==(const Rectangle &) const = default;
  bool empty() const { return width <= 0 || height <= 0; }
};

inline Rectangle intersection(const Rectangle &a, const Rectangle &b) {
  const int left = std::max(a.x, b.x);
  const int top = std::max(a.y, b.y);
  return {left, top, std::min(a.x + a.width, b.x + b.width) - left,
          std::min(a.y + a.height, b.y + b.height) - top};
}

// The smallest rectangle that holds both, none of which is empty.
inline Rectangle bounding(const Rectangle &a, const Rectangle &b) {
  const int left = std::min(a.x, b.x);
  const int top = std::min(a.y, b.y);
  return {left, top, std::max(a.x + a.width, b.x + b.width) - left,
          std::max(a.y + a.height, b.y + b.height) - top};
}

}  // namespace qom::record

#endif
