#include "display/pipeline.h"

#include <err.h>

#include <cassert>

#include "display/cursor.h"
#include "display/damage.h"
#include "display/pixmap.h"
#include "display/redraw.h"
#include "display/repaint.h"
#include "display/scale.h"
#include "display/scaling.h"
#include "display/viewport.h"
#include "display/ximage.h"
#include "trace.h"
#include "view_hold.h"

namespace {

bool updates_are_available(const QomView *view) {
  return !XEmptyRegion(view->ximage_region);
}

/* Brings pixmap and scaled images to the window's size, and remakes what an earlier
   failure left missing. */
bool frontend_check(QomView *view) {
  if (!scaling(view)) {
    if (view->pixmap != None || pixmap_setup(view)) return true;
    warnx("%s: failed to setup pixmap -> not updating window", "ViewDisplay");
    return false;
  }
  if (!frontend_size_changed(view)) return true;
  if (!frontend_recycle(view)) {
    warnx("%s: failed to recycle frontend -> not updating pixmap", "ViewDisplay");
    return false;
  }
  view_repaint_scaled_bands(view);
  return true;
}

/* Damage may reach beyond the frame, since recorded rectangles are added as they are. */
void pixmap_update_from_ximage(QomView *view) {
  const Box frame{0, 0, view->width, view->height};
  const Box damage = box_from_rectangle(region_bounds(view->ximage_region));
  const XRectangle part = rectangle_from_box(box_intersect(damage, frame));
  pixmap_upload(view, view->ximage, part.x, part.y, part);
  XUnionRegion(view->ximage_region, view->pixmap_region, view->pixmap_region);
  view->upload.box = part;
}

void updates_propagate_to_pixmap(QomView *view) {
  if (scaling(view))
    pixmap_update_from_scaled_ximage(view);
  else
    pixmap_update_from_ximage(view);
}

void updates_clear(QomView *view) {
  region_clear(view->ximage_region);
  view->upload.box = {};
}

bool view_needs_repaint(const QomView *view) {
  return !XEmptyRegion(view->pixmap_region) || !XEmptyRegion(view->exposed_region);
}

void frame_show(QomView *view) {
  if (updates_are_available(view)) updates_propagate_to_pixmap(view);
  if (cursor_is_damaged(view) || cursor_has_moved(view)) cursor_repaint(view);
  updates_clear(view);
  if (view_needs_repaint(view)) view_repaint(view);
}

}  // namespace

void ViewDisplay(ClientData clientData) noexcept {
  auto *view = static_cast<QomView *>(clientData);
  assert(view != 0 && "view should not be NULL");
  const struct timespec start = trace_clock();
  view_display_cancel(view);
  if (!view->tkwin || !Tk_IsMapped(view->tkwin)) return;
  if (!frontend_check(view)) return;
  frame_show(view);
  const ViewHold hold(view); /* a scroll command may destroy the view */
  if (scrollbars_need_update(view)) scrollbars_update(view);
  trace(view, "-- %s: refreshed widget -> duration=%.03fms\n", "ViewDisplay",
        trace_duration_ms(start, trace_clock()));
}
