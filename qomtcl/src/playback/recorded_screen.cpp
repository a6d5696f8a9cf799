#include "playback/recorded_screen.h"

#include <err.h>

#include "display/cursor.h"
#include "display/merge.h"
#include "display/ximage.h"
#include "playback/keyframe.h"
#include "playback/record_process.h"
#include "playback/round.h"
#include "printable.h"

namespace {

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
