#include "display/viewport.h"

#include <err.h>

#include <algorithm>
#include <cassert>
#include <climits>
#include <cmath>

#include "display/damage.h"
#include "display/redraw.h"
#include "display/scale.h"

namespace {

/* Tk keeps window sizes in more bits than a rectangle has. */
uint16_t window_side(int side) {
  return static_cast<uint16_t>(std::min(side, UINT16_MAX));
}

uint16_t window_width(const QomView *view) {
  return window_side(Tk_Width(view->tkwin));
}

uint16_t window_height(const QomView *view) {
  return window_side(Tk_Height(view->tkwin));
}

/* `target` brought to where the window stays inside the frame. */
short position_limited(int target, uint16_t side, uint16_t window) {
  return static_cast<short>(std::min(target, std::max(0, side - window)));
}

/* What was exposed stays exposed at the same place of the window. */
void topleft_set(QomView *view, XPoint topleft) {
  if (!scaling(view))
    XOffsetRegion(view->exposed_region, topleft.x - view->topleft.x, topleft.y - view->topleft.y);
  view->topleft = topleft;
}

/* A target as the setters take it; scroll counts may be any integer. */
int position_from(int64_t target) {
  return static_cast<int>(std::clamp<int64_t>(target, 0, INT_MAX));
}

bool fraction_is_valid(double fraction) {
  return fraction >= 0.0 && fraction <= 1.0;
}

int64_t pages_to_pixels(int count, int window) {
  return static_cast<int64_t>(count * 0.9 * window);
}

void xview_moveto(QomView *view, double fraction) {
  if (!fraction_is_valid(fraction)) return;
  if (viewport_topleft_x(view, static_cast<int>(view->width * fraction))) viewport_changed(view);
}

void yview_moveto(QomView *view, double fraction) {
  if (!fraction_is_valid(fraction)) return;
  if (viewport_topleft_y(view, static_cast<int>(view->height * fraction))) viewport_changed(view);
}

void xview_scroll_units(QomView *view, int64_t count) {
  if (viewport_topleft_x(view, position_from(view->topleft.x + count))) viewport_changed(view);
}

void yview_scroll_units(QomView *view, int64_t count) {
  if (viewport_topleft_y(view, position_from(view->topleft.y + count))) viewport_changed(view);
}

void xview_scroll_pages(QomView *view, int count) {
  xview_scroll_units(view, pages_to_pixels(count, Tk_Width(view->tkwin)));
}

void yview_scroll_pages(QomView *view, int count) {
  yview_scroll_units(view, pages_to_pixels(count, Tk_Height(view->tkwin)));
}

/* The visible part of the frame, its edges as fractions of the frame's sides. */
struct Visible {
  double left, right, top, bottom;
  bool operator==(const Visible &) const = default;
};

Visible visible_part(const QomView *view, uint16_t frame_width, uint16_t frame_height) {
  const XPoint at = view->topleft;
  const double width = frame_width;
  const double height = frame_height;
  return {at.x / width, std::min(at.x + window_width(view), int{frame_width}) / width,
          at.y / height, std::min(at.y + window_height(view), int{frame_height}) / height};
}

Tcl_Obj *xview_status(QomView *view) {
  Tcl_Obj *fractions[2];
  xview_status_calculate(view->tkwin, view->width, view->topleft.x, fractions);
  return Tcl_NewListObj(2, fractions);
}

Tcl_Obj *yview_status(QomView *view) {
  Tcl_Obj *fractions[2];
  yview_status_calculate(view->tkwin, view->height, view->topleft.y, fractions);
  return Tcl_NewListObj(2, fractions);
}

/* What one axis does with each of Tk's scroll requests. */
struct Scrolling {
  Tcl_Obj *(*status)(QomView *);
  void (*moveto)(QomView *, double);
  void (*pages)(QomView *, int);
  void (*units)(QomView *, int64_t);
};

constexpr Scrolling kXview{xview_status, xview_moveto, xview_scroll_pages, xview_scroll_units};
constexpr Scrolling kYview{yview_status, yview_moveto, yview_scroll_pages, yview_scroll_units};

int scroll(QomView *view, const Scrolling &axis, int objc, Tcl_Obj *const objv[]) {
  if (objc == 2) {
    Tcl_SetObjResult(view->interp, axis.status(view));
    return TCL_OK;
  }
  double fraction = 0.0;
  int count = 0;
  switch (Tk_GetScrollInfoObj(view->interp, objc, objv, &fraction, &count)) {
    case TK_SCROLL_MOVETO:
      axis.moveto(view, fraction);
      break;
    case TK_SCROLL_PAGES:
      axis.pages(view, count);
      break;
    case TK_SCROLL_UNITS:
      axis.units(view, count);
      break;
    default:
      return TCL_ERROR;
  }
  Tcl_ResetResult(view->interp);
  return TCL_OK;
}

}  // namespace

int cmd_xview(QomView *view, int objc, Tcl_Obj *const objv[]) {
  return scroll(view, kXview, objc, objv);
}

int cmd_yview(QomView *view, int objc, Tcl_Obj *const objv[]) {
  return scroll(view, kYview, objc, objv);
}

void xview_status_calculate(Tk_Window tkwin, uint16_t frame_width, int x, Tcl_Obj *fractions[2]) {
  const uint16_t width =
      min_uint16(static_cast<uint16_t>(frame_width - x), window_side(Tk_Width(tkwin)));
  assert(width > 0 && "width should be greater than 0");
  const double side = frame_width;
  fractions[0] = Tcl_ObjPrintf("%f", x / side);
  fractions[1] = Tcl_ObjPrintf("%f", (x + width) / side);
}

void yview_status_calculate(Tk_Window tkwin, uint16_t frame_height, int y, Tcl_Obj *fractions[2]) {
  const uint16_t height =
      min_uint16(static_cast<uint16_t>(frame_height - y), window_side(Tk_Height(tkwin)));
  assert(height > 0 && "height should be greater than 0");
  const double side = frame_height;
  fractions[0] = Tcl_NewDoubleObj(y / side);
  fractions[1] = Tcl_NewDoubleObj((y + height) / side);
}

bool viewport_topleft_x(QomView *view, int x) {
  assert(x >= 0 && "x should not be negative");
  const short limited = position_limited(x, view->width, window_width(view));
  if (limited == view->topleft.x) return false;
  topleft_set(view, {limited, view->topleft.y});
  return true;
}

bool viewport_topleft_y(QomView *view, int y) {
  assert(y >= 0 && "y should not be negative");
  const short limited = position_limited(y, view->height, window_height(view));
  if (limited == view->topleft.y) return false;
  topleft_set(view, {view->topleft.x, limited});
  return true;
}

void viewport_clamp(QomView *view) {
  const bool x_changed = viewport_topleft_x(view, view->topleft.x);
  const bool y_changed = viewport_topleft_y(view, view->topleft.y);
  if (x_changed || y_changed) view->update_scrollbars = true;
}

void viewport_frame_resized(QomView *view, uint16_t old_width, uint16_t old_height) {
  const Visible before = visible_part(view, old_width, old_height);
  viewport_clamp(view);
  if (visible_part(view, view->width, view->height) != before) view->update_scrollbars = true;
}

void viewport_changed(QomView *view) {
  view->update_scrollbars = true;
  /* With scaling on nothing of it can be seen, and without a pixmap there is nothing to
     copy until a new one brings everything. */
  if (!scaling(view) && view->pixmap_region &&
      !region_touch(view->pixmap_region, rectangle_from_viewport(view)))
    warnx("%s: failed to update pixmap_region", "viewport_changed");
  ViewEventuallyRedraw(view);
}

XRectangle rectangle_from_viewport(const QomView *view) {
  const XPoint *topleft = &view->topleft;
  assert(topleft->x <= view->width && "topleft.x should be in image");
  assert(topleft->y <= view->height && "topleft.y should be in image");
  return {topleft->x, topleft->y,
          min_uint16(static_cast<uint16_t>(view->width - topleft->x), window_width(view)),
          min_uint16(static_cast<uint16_t>(view->height - topleft->y), window_height(view))};
}

XPoint viewport_origin(const QomView *view) {
  return scaling(view) ? XPoint{0, 0} : view->topleft;
}

XRectangle rectangle_from_expose_event(const QomView *view, const XExposeEvent *event) {
  const XPoint origin = viewport_origin(view);
  const int x = event->x + origin.x;
  const int y = event->y + origin.y;
  return rectangle_from_box({x, y, x + event->width, y + event->height});
}

void exposed_wants_all(QomView *view) {
  const XPoint origin = viewport_origin(view);
  region_touch(view->exposed_region,
               rectangle_from_box({origin.x, origin.y, origin.x + Tk_Width(view->tkwin),
                                   origin.y + Tk_Height(view->tkwin)}));
}
