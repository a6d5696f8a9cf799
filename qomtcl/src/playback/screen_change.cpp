#include "playback/screen_change.h"

#include <err.h>

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
bool size_is_in_range(uint16_t width, uint16_t height) {
  const uint64_t bytes = uint64_t{width} * height * 4;
  return bytes > 0 && bytes <= QOM_MAX_DATA && width <= QOM_MAX_SIDE && height <= QOM_MAX_SIDE;
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
  if (!size_is_in_range(new_width, new_height)) {
    warnx("%s: screen size %dx%d is out of range", "screen_change_process", new_width, new_height);
    return 1;
  }
  XImage *resized = ximage_resize(view->display, view->ximage, new_width, new_height);
  if (!resized) return 1;
  view->ximage = resized;
  const uint16_t old_width = view->width;
  const uint16_t old_height = view->height;
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
