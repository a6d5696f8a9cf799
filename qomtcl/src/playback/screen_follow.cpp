#include "playback/screen_follow.h"

#include <err.h>

#include "display/cursor.h"
#include "display/damage.h"
#include "playback/screen_change.h"

namespace {

/* Of a screen's list of changes. */
constexpr size_t kChanges = 64;

void damage_follow(QomView *view) {
  QomRectangle changes[kChanges];
  const size_t count = qom_screen_changes(view->screen, changes, kChanges);
  for (size_t i = 0; i < count; ++i) {
    const QomRectangle &change = changes[i];
    const XRectangle rectangle =
        rectangle_from_box({change.x, change.y, change.x + change.width, change.y + change.height});
    if (!region_touch(view->ximage_region, rectangle))
      warnx("%s: failed to add image region to ximage_region", "image_merge");
  }
}

}  // namespace

bool screen_follow(QomView *view) {
  const bool sized = screen_change_follow(view);
  damage_follow(view);
  return cursor_follow(view) && sized;
}
