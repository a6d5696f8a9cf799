#include "display/scaling.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "display/cursor.h"
#include "display/pipeline.h"
#include "display/pixmap.h"
#include "display/repaint.h"
#include "display/viewport.h"
#include "display/ximage.h"
#include "trace.h"

namespace {

/* Sizes that fit no pixmap leave an empty frontend, for which no image can be made. */
struct frontend frontend_from_window(const QomView *view) {
  const int width = Tk_Width(view->tkwin);
  const int height = Tk_Height(view->tkwin);
  if (width < 1 || height < 1 || width > INT16_MAX || height > INT16_MAX) return {0, 0};
  return {static_cast<uint16_t>(width), static_cast<uint16_t>(height)};
}

int switch_on(QomView *view) {
  trace(view, "-- %s: switching to scaling mode\n", "scaling_switch_mode");
  view->topleft = {0, 0};
  pixmap_teardown(view);
  if (!frontend_setup(view)) return TCL_ERROR;
  view_repaint_scaled_bands(view);
  return TCL_OK;
}

int switch_off(QomView *view) {
  trace(view, "-- %s: switching to non-scaling mode\n", "scaling_switch_mode");
  scaling_teardown(view);
  viewport_clamp(view);    /* the window may have grown meanwhile */
  exposed_wants_all(view); /* the scaled picture may have been the larger one */
  return pixmap_recycle(view) ? TCL_OK : TCL_ERROR;
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

bool scaling_setup(QomView *view) {
  assert(scaling(view) && "scaling_setup should only be called when scaling");
  view->scaling.frontend = frontend_from_window(view);
  view->scaling.ximage =
      ximage_allocate(view->display, view->scaling.frontend.width, view->scaling.frontend.height);
  if (!view->scaling.ximage) return false;
  view->scaling.factor = std::min(scaling_factor_calculate(view), 1.0);
  if (!cursor_scaling_ximage_realloc(view)) return false;
  updates_want_all(view);
  return true;
}

void scaling_teardown(QomView *view) {
  view->scaling.factor = 0.0;
  if (view->scaling.cursor) XDestroyImage(view->scaling.cursor);
  view->scaling.cursor = nullptr;
  if (view->scaling.ximage) XDestroyImage(view->scaling.ximage);
  view->scaling.ximage = nullptr;
}

bool scaling_recycle(QomView *view) {
  scaling_teardown(view);
  return scaling_setup(view);
}

bool frontend_setup(QomView *view) {
  if (!scaling(view)) return true;
  return scaling_setup(view) && pixmap_setup(view);
}

bool frontend_size_changed(const QomView *view) {
  if (!view->scaling.ximage || view->pixmap == None) return true;
  return view->scaling.frontend.width != Tk_Width(view->tkwin) ||
         view->scaling.frontend.height != Tk_Height(view->tkwin);
}

bool frontend_recycle(QomView *view) {
  return scaling_recycle(view) && pixmap_recycle(view);
}

int scaling_switch_mode(QomView *view) {
  view->scaling.on = !view->scaling.on;
  const int code = view->scaling.on ? switch_on(view) : switch_off(view);
  if (code == TCL_OK) ViewEventuallyRedraw(view);
  return code;
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
