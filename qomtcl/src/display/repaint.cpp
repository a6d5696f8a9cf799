#include "display/repaint.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "display/damage.h"
#include "display/gc.h"
#include "display/scale.h"
#include "display/viewport.h"
#include "handles.h"

namespace {

RegionHandle region_new() {
  return RegionHandle(XCreateRegion());
}

void window_copy(QomView *view, XRectangle part) {
  const XPoint origin = viewport_origin(view);
  XCopyArea(view->display, view->pixmap, Tk_WindowId(view->tkwin), view->gc, part.x, part.y,
            part.width, part.height, part.x - origin.x, part.y - origin.y);
}

void window_fill(QomView *view, XRectangle part) {
  if (part.width == 0 || part.height == 0) return;
  GC gc = gc_for_bands(view);
  if (!gc) return;
  XFillRectangle(view->display, Tk_WindowId(view->tkwin), gc, part.x, part.y, part.width,
                 part.height);
}

/* `band` in window coordinates. */
void band_fill_exposed(QomView *view, XRectangle band) {
  const RegionHandle extra = region_new();
  const RegionHandle exposed = region_new();
  if (!extra || !exposed) return;
  const XPoint origin = viewport_origin(view);
  region_touch(extra.get(), band);
  XOffsetRegion(extra.get(), origin.x, origin.y);
  XIntersectRegion(extra.get(), view->exposed_region, exposed.get());
  XOffsetRegion(exposed.get(), -origin.x, -origin.y);
  window_fill(view, region_bounds(exposed.get()));
}

/* What is visible of the changes in the pixmap, and all that was exposed. */
RegionHandle region_for_repaint_unscaled(QomView *view) {
  RegionHandle repaint = region_new();
  if (!repaint) return nullptr;
  region_touch(repaint.get(), rectangle_from_viewport(view));
  XIntersectRegion(repaint.get(), view->pixmap_region, repaint.get());
  XUnionRegion(repaint.get(), view->exposed_region, repaint.get());
  return repaint;
}

void view_repaint_unscaled(QomView *view) {
  const RegionHandle repaint = region_for_repaint_unscaled(view);
  if (!repaint || XEmptyRegion(repaint.get())) return;
  window_copy(view, region_bounds(repaint.get()));
  const XRectangle visible = rectangle_from_viewport(view);
  const int width = Tk_Width(view->tkwin);
  const int height = Tk_Height(view->tkwin);
  band_fill_exposed(view, rectangle_from_box({visible.width, 0, width, height}));
  band_fill_exposed(view, rectangle_from_box({0, visible.height, width, height}));
}

/* The scaled picture alone is copied; the pixmap beside it is never shown. */
RegionHandle region_for_repaint_scaled(QomView *view) {
  const RegionHandle content = region_new();
  RegionHandle repaint = region_new();
  if (!content || !repaint) return nullptr;
  XUnionRegion(view->pixmap_region, view->exposed_region, repaint.get());
  region_touch(content.get(), rectangle_for_scaled_view(view));
  XIntersectRegion(repaint.get(), content.get(), repaint.get());
  return repaint;
}

void view_repaint_scaled(QomView *view) {
  const RegionHandle repaint = region_for_repaint_scaled(view);
  if (!repaint) return;
  if (!XEmptyRegion(repaint.get())) window_copy(view, region_bounds(repaint.get()));
  band_fill_exposed(view, rectangle_for_right_band(view));
  band_fill_exposed(view, rectangle_for_bottom_band(view));
}

int scaled_side(uint16_t side, double factor, int limit) {
  return static_cast<int>(std::min(std::round(side * factor), static_cast<double>(limit)));
}

}  // namespace

void view_repaint(QomView *view) {
  if (scaling(view))
    view_repaint_scaled(view);
  else
    view_repaint_unscaled(view);
  region_clear(view->pixmap_region);
  region_clear(view->exposed_region);
}

void view_repaint_scaled_bands(QomView *view) {
  if (!view->tkwin || !Tk_IsMapped(view->tkwin)) return;
  window_fill(view, rectangle_for_right_band(view));
  window_fill(view, rectangle_for_bottom_band(view));
}

XRectangle rectangle_for_right_band(const QomView *view) {
  assert(view->scaling.on && "only when scaling");
  const int width = Tk_Width(view->tkwin);
  const int x1 = scaled_side(view->width, view->scaling.factor, width);
  return rectangle_from_box({x1, 0, width, Tk_Height(view->tkwin)});
}

XRectangle rectangle_for_bottom_band(const QomView *view) {
  assert(view->scaling.on && "only when scaling");
  const int height = Tk_Height(view->tkwin);
  const int y1 = scaled_side(view->height, view->scaling.factor, height);
  return rectangle_from_box({0, y1, Tk_Width(view->tkwin), height});
}
