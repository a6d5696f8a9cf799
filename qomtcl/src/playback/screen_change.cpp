#include "playback/screen_change.h"

#include "display/damage.h"
#include "display/pixmap.h"
#include "display/redraw.h"
#include "display/repaint.h"
#include "display/scale.h"
#include "display/viewport.h"

namespace {

/* At natural size the window beside a smaller frame has to be painted anew too. */
bool show_at_natural_size(QomView *view) {
  exposed_wants_all(view);
  return pixmap_setup(view);
}

/* Another factor moves every pixel of the scaled picture, not only the changed ones. */
void show_scaled(QomView *view) {
  view->scaling.factor = scaling_factor_calculate(view);
  updates_want_all(view);
  view_repaint_scaled_bands(view);
}

}  // namespace

void screen_change_note(QomView *view, uint16_t width, uint16_t height) {
  if (width == view->width && height == view->height) return;
  const uint16_t old_width = view->width;
  const uint16_t old_height = view->height;
  view->width = width;
  view->height = height;
  view->resized = true;
  viewport_frame_resized(view, old_width, old_height);
}

bool screen_change_follow(QomView *view) {
  screen_change_note(view, static_cast<uint16_t>(view->ximage->width),
                     static_cast<uint16_t>(view->ximage->height));
  if (!view->resized) return true;
  view->resized = false;
  region_clear(view->ximage_region);
  updates_want_all(view);
  bool shown = true;
  if (scaling(view))
    show_scaled(view);
  else
    shown = show_at_natural_size(view);
  Tk_GeometryRequest(view->tkwin, view->width, view->height);
  ViewEventuallyRedraw(view);
  return shown;
}
