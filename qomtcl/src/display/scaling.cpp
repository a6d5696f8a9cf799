#include "display/scaling.h"

#include <algorithm>
#include <cassert>

#include "display/cursor.h"
#include "display/pixmap.h"
#include "display/redraw.h"
#include "display/repaint.h"
#include "display/scale.h"
#include "display/viewport.h"
#include "display/ximage.h"
#include "trace.h"

namespace {

constexpr double kLargest = 32; /* factor by which a picture is enlarged */

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

}  // namespace

bool scaling_setup(QomView *view) {
  assert(scaling(view) && "scaling_setup should only be called when scaling");
  view->scaling.frontend = frontend_from_window(view);
  view->scaling.ximage =
      ximage_allocate(view->display, view->scaling.frontend.width, view->scaling.frontend.height);
  if (!view->scaling.ximage) return false;
  view->scaling.factor =
      std::min(scaling_factor_calculate(view), view->scaling.fine ? kLargest : 1.0);
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

bool scaling_set_fine(QomView *view, bool fine) {
  if (view->scaling.fine == fine) return true;
  view->scaling.fine = fine;
  if (!scaling(view)) return true;
  ViewEventuallyRedraw(view);
  exposed_wants_all(view);
  return frontend_recycle(view);
}

int scaling_switch_mode(QomView *view) {
  view->scaling.on = !view->scaling.on;
  const int code = view->scaling.on ? switch_on(view) : switch_off(view);
  if (code == TCL_OK) ViewEventuallyRedraw(view);
  return code;
}
