#include "display/scale.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdlib>

#include "display/ximage.h"
#include "handles.h"
#include "trace.h"

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
 * filter mixes the source pixels that it reaches from there; solved for d, with one
 * pixel to spare at the end.
 */
Span span_touched(int from, int to, double step, double reach, int limit) {
  const double first = std::floor((from - reach) / step - 0.5);
  const double last = std::ceil((to + reach) / step + 0.5);
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

bool is_whole(double factor) {
  return factor == std::round(factor);
}

/* The mean of what lies under a pixel: of each source pixel as much as the pixel covers of it. */
bool mean_filter_set(pixman_image_t *source, pixman_fixed_t step) {
  constexpr int kPhases = 4; /* bits of the places within a pixel that are told apart */
  int count = 0;
  pixman_fixed_t *filter = pixman_filter_create_separable_convolution(
      &count, step, step, PIXMAN_KERNEL_BOX, PIXMAN_KERNEL_BOX, PIXMAN_KERNEL_BOX,
      PIXMAN_KERNEL_BOX, kPhases, kPhases);
  const bool set = filter && pixman_image_set_filter(source, PIXMAN_FILTER_SEPARABLE_CONVOLUTION,
                                                     filter, count) != 0;
  free(filter);
  return set;
}

bool filter_set(pixman_image_t *source, double factor, bool fine) {
  if (fine) pixman_image_set_repeat(source, PIXMAN_REPEAT_PAD);
  if (fine && factor < 1) return mean_filter_set(source, scaling_step(factor));
  const bool sharp = fine && is_whole(factor);
  return pixman_image_set_filter(source, sharp ? PIXMAN_FILTER_NEAREST : PIXMAN_FILTER_BILINEAR,
                                 nullptr, 0) != 0;
}

/* As rectangle fields are kept: to 16 bits. */
int scaled_and_rounded(int value, double scale) {
  return static_cast<int>(static_cast<int64_t>(std::round(value * scale)));
}

}  // namespace

double scaling_factor_calculate(const QomView *view) {
  assert(view->width > 0 && "view->width should not be zero");
  assert(view->height > 0 && "view->height should not be zero");
  const int width = Tk_Width(view->tkwin);
  const int height = Tk_Height(view->tkwin);
  trace(view, "-- %s: Tk_Width=%d Tk_Height=%d\n", "scaling_factor_calculate", width, height);
  const double hfactor = static_cast<double>(width) / view->width;
  const double vfactor = static_cast<double>(height) / view->height;
  const double factor = std::min(hfactor, vfactor);
  trace(view, "\thfactor=%f vfactor=%f -> factor=%f\n", hfactor, vfactor, factor);
  return factor;
}

XRectangle rectangle_scale(XRectangle rectangle, double scale) {
  const auto width = static_cast<unsigned short>(scaled_and_rounded(rectangle.width, scale));
  const auto height = static_cast<unsigned short>(scaled_and_rounded(rectangle.height, scale));
  return {static_cast<short>(scaled_and_rounded(rectangle.x, scale)),
          static_cast<short>(scaled_and_rounded(rectangle.y, scale)),
          std::max<unsigned short>(width, 1), std::max<unsigned short>(height, 1)};
}

XRectangle rectangle_for_scaled_view(const QomView *view) {
  return rectangle_scale({0, 0, view->width, view->height}, view->scaling.factor);
}

pixman_fixed_t scaling_step(double factor) {
  constexpr double largest = INT32_MAX;
  return static_cast<pixman_fixed_t>(std::min(1.0 / factor * 65536.0, largest));
}

double filter_reach(bool fine, double step) {
  return fine && step > 1 ? step / 2 + 1.5 : 0.5;
}

Box scaled_damage(const QomView *view, Box damage) {
  const XImage *image = view->scaling.ximage;
  const double step = scaling_step(view->scaling.factor) / 65536.0;
  const double reach = filter_reach(view->scaling.fine, step);
  const Span columns = span_touched(damage.x1, damage.x2, step, reach, image->width);
  const Span rows = span_touched(damage.y1, damage.y2, step, reach, image->height);
  return {columns.from, rows.from, columns.to, rows.to};
}

bool image_scale(pixman_format_code_t format, const XImage *from, XPoint origin, XImage *to,
                 double factor, bool fine, Box part) {
  const PixmanImageHandle source = wrapped(format, from);
  const PixmanImageHandle destination = wrapped(format, to);
  if (!source || !destination) return false;
  const pixman_fixed_t step = scaling_step(factor);
  pixman_transform_t transform;
  pixman_transform_init_scale(&transform, step, step);
  transform.matrix[0][2] = pixman_int_to_fixed(origin.x);
  transform.matrix[1][2] = pixman_int_to_fixed(origin.y);
  pixman_image_set_transform(source.get(), &transform);
  if (!filter_set(source.get(), factor, fine)) return false;
  pixman_image_composite32(PIXMAN_OP_SRC, source.get(), nullptr, destination.get(), part.x1,
                           part.y1, 0, 0, part.x1, part.y1, part.x2 - part.x1, part.y2 - part.y1);
  return true;
}

void ximage_scale(QomView *view, Box part) {
  assert(view->scaling.factor != 0.0 && "scaling factor should be set");
  image_scale(view->scaling.pixman_format, view->ximage, {0, 0}, view->scaling.ximage,
              view->scaling.factor, view->scaling.fine, part);
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
