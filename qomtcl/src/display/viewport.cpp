#include "display/viewport.h"

#include <algorithm>

#include "display/damage.h"
#include "display/scaling.h"

void viewport_clamp(QomView *view) {
  const int right = std::max(0, view->width - Tk_Width(view->tkwin));
  const int bottom = std::max(0, view->height - Tk_Height(view->tkwin));
  const XPoint clamped{static_cast<short>(std::min<int>(view->topleft.x, right)),
                       static_cast<short>(std::min<int>(view->topleft.y, bottom))};
  if (clamped.x == view->topleft.x && clamped.y == view->topleft.y) return;
  view->topleft = clamped;
  view->update_scrollbars = true;
}

XRectangle rectangle_from_viewport(const QomView *view) {
  const XPoint corner = view->topleft;
  return rectangle_from_box({corner.x, corner.y,
                             std::min<int>(view->width, corner.x + Tk_Width(view->tkwin)),
                             std::min<int>(view->height, corner.y + Tk_Height(view->tkwin))});
}

XPoint viewport_origin(const QomView *view) {
  return scaling(view) ? XPoint{0, 0} : view->topleft;
}

bool scrollbars_need_update(const QomView *view) {
  return !view->scaling.on && view->update_scrollbars;
}

void scrollbars_update(QomView *view) {
  view->update_scrollbars = false;
}
