#include "display/damage.h"

#include <algorithm>
#include <cstdint>

#include "display/region_size.h"

namespace {

constexpr long kMaxRectangles = 256; /* of a region */

bool region_add(Region region, XRectangle rectangle) {
  return XUnionRectWithRegion(&rectangle, region, region) != 0;
}

}  // namespace

bool region_touch(Region region, XRectangle rectangle) {
  const bool added = region_add(region, rectangle_from_box(box_from_rectangle(rectangle)));
  if (region_size(region) <= kMaxRectangles) return added;
  return region_add(region, region_bounds(region)) && added;
}

void region_clear(Region region) {
  if (region) XSubtractRegion(region, region, region);
}

XRectangle region_bounds(Region region) {
  XRectangle bounds{};
  XClipBox(region, &bounds);
  return bounds;
}

XRectangle rectangle_from_box(Box box) {
  const auto cut = [](int corner) { return std::clamp<int>(corner, INT16_MIN, INT16_MAX); };
  const Box held{cut(box.x1), cut(box.y1), cut(box.x2), cut(box.y2)};
  return {static_cast<short>(held.x1), static_cast<short>(held.y1),
          static_cast<unsigned short>(std::max(0, held.x2 - held.x1)),
          static_cast<unsigned short>(std::max(0, held.y2 - held.y1))};
}

Box box_from_rectangle(XRectangle rectangle) {
  return {rectangle.x, rectangle.y, rectangle.x + rectangle.width, rectangle.y + rectangle.height};
}

Box box_intersect(Box a, Box b) {
  return {std::max(a.x1, b.x1), std::max(a.y1, b.y1), std::min(a.x2, b.x2), std::min(a.y2, b.y2)};
}

bool box_is_empty(Box box) {
  return box.x2 <= box.x1 || box.y2 <= box.y1;
}

bool rectangles_overlap(XRectangle a, XRectangle b) {
  return !box_is_empty(box_intersect(box_from_rectangle(a), box_from_rectangle(b)));
}

void updates_want_all(QomView *view) {
  region_touch(view->ximage_region, {0, 0, view->width, view->height});
}

uint16_t min_uint16(uint16_t a, uint16_t b) {
  return std::min(a, b);
}

bool upload_touches(const QomView *view, XRectangle rectangle) {
  return rectangles_overlap(view->upload.box, rectangle);
}
