/* The frame's pixels on their way into the scaled image. */

#include <algorithm>
#include <cassert>
#include <cmath>

#include "display/scaling.h"
#include "display/ximage.h"
#include "handles.h"

namespace {

/* Wraps an image's own pixels. */
PixmanImageHandle wrapped(pixman_format_code_t format, const XImage *image) {
  return PixmanImageHandle(pixman_image_create_bits(format, image->width, image->height,
                                                    reinterpret_cast<uint32_t *>(image->data),
                                                    image->bytes_per_line));
}

struct Span {
  int from;
  int to; /* exclusive */
};

/*
 * The middle of destination pixel d lies at (d + 0.5) x step in the source, and the
 * filter mixes the two source pixels whose middles are nearest; solved for d, with one
 * pixel to spare at the end.
 */
Span span_touched(int from, int to, double step, int limit) {
  const double first = std::floor((from - 0.5) / step - 0.5);
  const double last = std::ceil((to + 0.5) / step + 0.5);
  const double end = limit;
  return {static_cast<int>(std::clamp(first, 0.0, end)),
          static_cast<int>(std::clamp(last, 0.0, end))};
}

/* What is shown of the scaled image; the rest of it lies under the bands. */
Box picture_in_image(const QomView *view) {
  const XImage *image = view->scaling.ximage;
  return box_intersect(box_from_rectangle(rectangle_for_scaled_view(view)),
                       {0, 0, image->width, image->height});
}

}  // namespace

pixman_fixed_t scaling_step(double factor) {
  constexpr double largest = INT32_MAX;
  return static_cast<pixman_fixed_t>(std::min(1.0 / factor * 65536.0, largest));
}

Box scaled_damage(const QomView *view, Box damage) {
  const XImage *image = view->scaling.ximage;
  const double step = scaling_step(view->scaling.factor) / 65536.0;
  const Span columns = span_touched(damage.x1, damage.x2, step, image->width);
  const Span rows = span_touched(damage.y1, damage.y2, step, image->height);
  return {columns.from, rows.from, columns.to, rows.to};
}

bool image_scale(pixman_format_code_t format, const XImage *from, XPoint origin, XImage *to,
                 double factor, Box part) {
  const PixmanImageHandle source = wrapped(format, from);
  const PixmanImageHandle destination = wrapped(format, to);
  if (!source || !destination) return false;
  const pixman_fixed_t step = scaling_step(factor);
  pixman_transform_t transform;
  pixman_transform_init_scale(&transform, step, step);
  transform.matrix[0][2] = pixman_int_to_fixed(origin.x);
  transform.matrix[1][2] = pixman_int_to_fixed(origin.y);
  pixman_image_set_transform(source.get(), &transform);
  pixman_image_set_filter(source.get(), PIXMAN_FILTER_BILINEAR, nullptr, 0);
  pixman_image_composite32(PIXMAN_OP_SRC, source.get(), nullptr, destination.get(), part.x1,
                           part.y1, 0, 0, part.x1, part.y1, part.x2 - part.x1, part.y2 - part.y1);
  return true;
}

void ximage_scale(QomView *view, Box part) {
  assert(view->scaling.factor != 0.0 && "scaling factor should be set");
  image_scale(view->scaling.pixman_format, view->ximage, {0, 0}, view->scaling.ximage,
              view->scaling.factor, part);
}

void pixmap_update_from_scaled_ximage(QomView *view) {
  XRectangle bounds{};
  XClipBox(view->ximage_region, &bounds);
  const Box full = box_intersect(box_from_rectangle(bounds), {0, 0, view->width, view->height});
  if (box_is_empty(full) || !view->scaling.ximage) return;
  const Box part = box_intersect(scaled_damage(view, full), picture_in_image(view));
  if (box_is_empty(part)) return;
  ximage_scale(view, part);
  const XRectangle scaled = rectangle_from_box(part);
  pixmap_upload(view, view->scaling.ximage, scaled.x, scaled.y, scaled);
  region_touch(view->pixmap_region, scaled);
  view->upload.box = scaled;
}
