#include "playback/screen_change.h"

#include <err.h>

#include <utility>

#include "display/cursor.h"
#include "display/damage.h"
#include "display/pipeline.h"
#include "display/pixmap.h"
#include "display/repaint.h"
#include "display/scaling.h"
#include "display/viewport.h"
#include "display/ximage.h"

namespace {

/* The same limits as for a header's size: each side, and the memory of the picture. */
bool size_is_in_range(const QomView *view, uint16_t width, uint16_t height) {
  if (width > 0 && height > 0 && width <= QOM_MAX_SIDE && height <= QOM_MAX_SIDE &&
      ximage_fits(view->display, width, height))
    return true;
  warnx("%s: screen size %dx%d is out of range", "screen_change_process", width, height);
  return false;
}

bool pixels_wait(const QomView *view) {
  return view->passed_size.width != 0;
}

bool ximage_become(QomView *view, unsigned width, unsigned height) {
  XImage *resized = ximage_resize(view->display, view->ximage, width, height);
  if (resized) view->ximage = resized;
  return resized != nullptr;
}

/* Sizes that were passed have cut the picture. */
bool pixels_resize(QomView *view, uint16_t width, uint16_t height) {
  const auto passed = std::exchange(view->passed_size, {});
  if ((passed.width == 0 || ximage_become(view, passed.width, passed.height)) &&
      ximage_become(view, width, height))
    return true;
  view->width = static_cast<uint16_t>(view->ximage->width);
  view->height = static_cast<uint16_t>(view->ximage->height);
  return false;
}

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

void cursor_clip_again(QomView *view) {
  const QomCursorImage *record = view->cursor.record;
  if (!record) return;
  cursor_update_current_position(view, view->cursor.corner.x + record->xhot,
                                 view->cursor.corner.y + record->yhot);
}

}  // namespace

int screen_change_process(QomView *view, uint16_t new_width, uint16_t new_height) {
  if (!size_is_in_range(view, new_width, new_height)) return 1;
  const uint16_t old_width = view->width;
  const uint16_t old_height = view->height;
  if (!pixels_resize(view, new_width, new_height)) {
    cursor_clip_again(view); /* the frame may be smaller than the last size that was passed */
    return 1;
  }
  view->width = new_width;
  view->height = new_height;
  region_clear(view->ximage_region);
  region_touch(view->ximage_region,
               {0, 0, min_uint16(old_width, new_width), min_uint16(old_height, new_height)});
  viewport_frame_resized(view, old_width, old_height);
  bool shown = true;
  if (scaling(view))
    show_scaled(view);
  else
    shown = show_at_natural_size(view);
  cursor_clip_again(view);
  Tk_GeometryRequest(view->tkwin, new_width, new_height);
  ViewEventuallyRedraw(view);
  return shown ? 0 : 1;
}

int screen_change_pass(QomView *view, uint16_t new_width, uint16_t new_height) {
  if (!size_is_in_range(view, new_width, new_height)) return 1;
  const passed_size left =
      pixels_wait(view) ? view->passed_size : passed_size{view->width, view->height};
  view->passed_size = {min_uint16(left.width, new_width), min_uint16(left.height, new_height)};
  view->width = new_width;
  view->height = new_height;
  viewport_clamp(view);
  return 0;
}

int screen_change_settle(QomView *view) {
  return pixels_wait(view) ? screen_change_process(view, view->width, view->height) : 0;
}
