#include "display/cursor.h"

#include <err.h>
#include <qom/screen.h>

#include <algorithm>
#include <cassert>
#include <cmath>

#include "display/damage.h"
#include "display/merge.h"
#include "display/scale.h"
#include "display/ximage.h"

namespace {

/* Of the scaled cursor image while there is no cursor, pixels of the frame. */
constexpr uint16_t kUsualWidth = 9;
constexpr uint16_t kUsualHeight = 16;

bool is_empty(XRectangle rectangle) {
  return rectangle.width == 0 || rectangle.height == 0;
}

bool is_at_least(const XImage *image, int width, int height) {
  return image && image->width >= width && image->height >= height;
}

/* Where a frame rectangle is in the pixmap. */
XRectangle place_in_pixmap(const QomView *view, XRectangle rectangle) {
  return scaling(view) ? rectangle_scale(rectangle, view->scaling.factor) : rectangle;
}

/* Replaces an image that is missing or too small; it grows only. */
bool image_grow(QomView *view, XImage **image, int width, int height) {
  if (is_at_least(*image, width, height)) return true;
  if (*image) {
    width = std::max(width, (*image)->width);
    height = std::max(height, (*image)->height);
    XDestroyImage(*image);
  }
  *image =
      ximage_allocate(view->display, static_cast<unsigned>(width), static_cast<unsigned>(height));
  return *image != nullptr;
}

bool cursor_ximage_realloc(QomView *view) {
  const QomCursorImage *record = view->cursor.record;
  if (!image_grow(view, &view->cursor.ximage, record->width, record->height)) {
    Tcl_SetErrorCode(view->interp, "QOM", "CURSOR", "XIMAGE", "REALLOC", nullptr);
    Tcl_SetObjResult(view->interp, Tcl_NewStringObj("failed to create XImage for cursor", -1));
    return false;
  }
  return !scaling(view) || cursor_scaling_ximage_realloc(view);
}

bool cursor_ximage_is_too_small(const QomView *view) {
  const QomCursorImage *record = view->cursor.record;
  return !is_at_least(view->cursor.ximage, record->width, record->height);
}

struct Span {
  int from;
  int to; /* exclusive */
};

/*
 * The frame pixels along one axis that the filter mixes into `count` scaled ones. The
 * middle of scaled pixel i lies (i + 0.5) x step behind `from`; the filter reaches from there.
 */
Span span_read(int from, int count, double step, double reach, int limit) {
  const double last = std::ceil((count - 0.5) * step + reach) + 1;
  return {std::max(0, from - static_cast<int>(std::ceil(reach))),
          static_cast<int>(std::min<double>(limit, from + last))};
}

/*
 * The part of the frame that has to be blended to show the cursor. Scaled, it reaches
 * around the cursor, so that the cursor's edges are mixed with the frame beside them and
 * not with what an image happens to hold there.
 */
XRectangle area_to_blend(const QomView *view) {
  const XRectangle current = view->cursor.position.current;
  if (!scaling(view)) return current;
  const double step = scaling_step(view->scaling.factor) / 65536.0;
  const XRectangle place = place_in_pixmap(view, current);
  const double reach = filter_reach(view->scaling.fine, step);
  const Span columns = span_read(current.x, place.width, step, reach, view->width);
  const Span rows = span_read(current.y, place.height, step, reach, view->height);
  return rectangle_from_box({columns.from, rows.from, columns.to, rows.to});
}

bool cursor_compose_with_ximage(QomView *view, XRectangle area) {
  if (!image_grow(view, &view->cursor.ximage, area.width, area.height)) return false;
  const cursor_corner corner = view->cursor.corner;
  const QomPicture picture = picture_of_ximage(view->ximage, view->pixel_format);
  const QomPicture blended = picture_of_ximage(view->cursor.ximage, view->pixel_format);
  qom_picture_blend(&picture, view->cursor.record, corner.x, corner.y,
                    {area.x, area.y, area.width, area.height}, &blended);
  return true;
}

/* `area` is what lies in the blended image, `place` where the cursor is in the pixmap. What
   the image holds beyond the area stays out of the filter's sight. */
bool cursor_scale(QomView *view, XRectangle area, XRectangle place) {
  assert(view->scaling.factor != 0.0 && "scaling factor should be set");
  if (!image_grow(view, &view->scaling.cursor, place.width, place.height)) return false;
  XImage blended = *view->cursor.ximage;
  blended.width = area.width;
  blended.height = area.height;
  const XRectangle current = view->cursor.position.current;
  const XPoint corner{static_cast<short>(current.x - area.x),
                      static_cast<short>(current.y - area.y)};
  return image_scale(view->scaling.pixman_format, &blended, corner, view->scaling.cursor,
                     view->scaling.factor, view->scaling.fine, {0, 0, place.width, place.height});
}

bool cursor_has_previous_position(const QomView *view) {
  const XRectangle previous = view->cursor.position.previous;
  return previous.x != 0 || previous.y != 0 || previous.width != 0 || previous.height != 0;
}

void cursor_paint_over_previous_position(QomView *view) {
  const XRectangle previous = view->cursor.position.previous;
  if (is_empty(previous)) return;
  const XRectangle place = place_in_pixmap(view, previous);
  XImage *clean = scaling(view) ? view->scaling.ximage : view->ximage;
  pixmap_upload(view, clean, place.x, place.y, place);
}

/* False when the cursor could not be painted. */
bool cursor_paint_current_position(QomView *view) {
  const XRectangle current = view->cursor.position.current;
  if (!view->cursor.record || is_empty(current)) return true;
  const XRectangle area = area_to_blend(view);
  if (!cursor_compose_with_ximage(view, area)) return false;
  const XRectangle place = place_in_pixmap(view, current);
  if (scaling(view) && !cursor_scale(view, area, place)) return false;
  pixmap_upload(view, scaling(view) ? view->scaling.cursor : view->cursor.ximage, 0, 0, place);
  return true;
}

void pixmap_region_add(QomView *view, XRectangle rectangle, const char *which) {
  if (is_empty(rectangle)) return;
  if (region_touch(view->pixmap_region, place_in_pixmap(view, rectangle))) return;
  warnx(
      "%s: failed to add %s cursor region to pixmap_region",
      scaling(view) ? "cursor_update_pixmap_region_scaled" : "cursor_update_pixmap_region_unscaled",
      which);
}

void cursor_update_pixmap_region(QomView *view) {
  if (cursor_has_previous_position(view))
    pixmap_region_add(view, view->cursor.position.previous, "previous");
  pixmap_region_add(view, view->cursor.position.current, "current");
}

}  // namespace

bool cursor_update(QomView *view, const QomCursorImage *cursor_image) {
  view->cursor.record = cursor_image;
  return !cursor_ximage_is_too_small(view) || cursor_ximage_realloc(view);
}

void cursor_update_current_position(QomView *view, int x, int y) {
  assert(view != 0 && "view should not be NULL");
  const QomCursorImage *record = view->cursor.record;
  if (!record) return;
  const int x1 = x - record->xhot;
  const int y1 = y - record->yhot;
  if (x1 != view->cursor.corner.x || y1 != view->cursor.corner.y) view->cursor.changed = true;
  view->cursor.corner = {x1, y1};
  const auto column = [view](int position) { return std::clamp<int>(position, 0, view->width); };
  const auto row = [view](int position) { return std::clamp<int>(position, 0, view->height); };
  view->cursor.position.current = rectangle_from_box(
      {column(x1), row(y1), column(x1 + record->width), row(y1 + record->height)});
}

bool cursor_follow(QomView *view) {
  int32_t x = 0;
  int32_t y = 0;
  const QomCursorImage *image = qom_screen_cursor(view->screen, &x, &y);
  if (!image) {
    cursor_forget(view);
    return true;
  }
  const bool updated = cursor_update(view, image);
  cursor_update_current_position(view, x + image->xhot, y + image->yhot);
  return updated;
}

void cursor_forget(QomView *view) {
  view->cursor.record = nullptr;
  view->cursor.position.current = {};
}

bool cursor_scaling_ximage_realloc(QomView *view) {
  if (view->scaling.cursor) XDestroyImage(view->scaling.cursor);
  view->scaling.cursor = nullptr;
  const QomCursorImage *record = view->cursor.record;
  const XRectangle size = rectangle_scale(
      {0, 0, record ? record->width : kUsualWidth, record ? record->height : kUsualHeight},
      view->scaling.factor);
  /* Enlarged, a cursor could be far larger than the window that shows a part of it. */
  const int width = std::clamp<int>(view->scaling.frontend.width, 1, size.width);
  const int height = std::clamp<int>(view->scaling.frontend.height, 1, size.height);
  if (image_grow(view, &view->scaling.cursor, width, height)) return true;
  Tcl_SetErrorCode(view->interp, "QOM", "CURSOR", "SCALING", "XIMAGE", "REALLOC", nullptr);
  Tcl_SetObjResult(view->interp, Tcl_NewStringObj("failed to create XImage for scaled cursor", -1));
  return false;
}

bool cursor_is_damaged(const QomView *view) {
  const XRectangle current = view->cursor.position.current;
  if (is_empty(current)) return false;
  return XRectInRegion(view->ximage_region, current.x, current.y, current.width, current.height) !=
             RectangleOut ||
         upload_touches(view, place_in_pixmap(view, current));
}

bool cursor_has_moved(const QomView *view) {
  const XRectangle previous = view->cursor.position.previous;
  const XRectangle current = view->cursor.position.current;
  return previous.x != current.x || previous.y != current.y || previous.width != current.width ||
         previous.height != current.height || view->cursor.changed;
}

void cursor_repaint(QomView *view) {
  if (view->pixmap == None) return;
  cursor_paint_over_previous_position(view);
  const bool painted = cursor_paint_current_position(view);
  cursor_update_pixmap_region(view);
  /* One that could not be painted counts as nowhere, and so as moved: the next display
     tries again. */
  view->cursor.position.previous = painted ? view->cursor.position.current : XRectangle{};
  view->cursor.changed = false;
}

void cursor_teardown(QomView *view) {
  if (view->cursor.ximage) XDestroyImage(view->cursor.ximage);
  view->cursor = {};
}
