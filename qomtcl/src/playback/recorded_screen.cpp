#include "playback/recorded_screen.h"

#include <err.h>

#include <cstdio>

#include "display/cursor.h"
#include "display/damage.h"
#include "display/merge.h"
#include "display/ximage.h"
#include "playback/keyframe.h"
#include "playback/record_process.h"
#include "playback/round.h"
#include "playback/screen_change.h"
#include "printable.h"

namespace {

/* Of a screen's list of changes. */
constexpr size_t kChanges = 64;

/* Memory of the screen's picture: the frame image. The first one is there already. */
int canvas_resize(void *context, uint16_t width, uint16_t height, QomPicture *picture) {
  auto *view = static_cast<QomView *>(context);
  if (picture->pixels) {
    XImage *resized = ximage_resize(view->display, view->ximage, width, height);
    if (!resized) return -1;
    view->ximage = resized;
  }
  *picture = picture_of_ximage(view->ximage, view->pixel_format);
  return 0;
}

void draw(void *context, const QomImage *image, const QomPicture *) {
  image_merge(static_cast<QomView *>(context), image);
}

int pause(void *context) {
  const auto *view = static_cast<const QomView *>(context);
  return view->round && view->round->is_long();
}

bool screen_setup_failed(QomView *view) {
  warnx("%s: %s", "screen_setup", PrintableText(qom_reader_error()).get());
  Tcl_SetErrorCode(view->interp, "QOM", "SETUP", "XIMAGE", nullptr);
  Tcl_SetObjResult(view->interp, Tcl_NewStringObj("failed to setup ximage", -1));
  return false;
}

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

bool screen_setup(QomView *view) {
  view->canvas = {canvas_resize, view};
  QomScreenOptions options = {};
  options.pixel_format = view->pixel_format;
  options.strict = 1;
  options.memory = kKeyFrameCeiling;
  options.spacing = kKeyFrameSpacing;
  options.save_by_hand = 1;
  options.canvas = &view->canvas;
  options.pause = pause;
  options.tell = record_tell;
  options.draw = draw;
  options.context = view;
  view->screen = qom_screen_open(view->reader, &options);
  return view->screen || screen_setup_failed(view);
}

void screen_teardown(QomView *view) {
  cursor_forget(view);
  qom_screen_close(view->screen);
  view->screen = nullptr;
}

bool screen_follow(QomView *view) {
  const bool sized = screen_change_follow(view);
  damage_follow(view);
  return cursor_follow(view) && sized;
}
