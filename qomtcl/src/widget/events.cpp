#include "widget/events.h"

#include <err.h>

#include <cassert>
#include <cstring>

#include "display/conversion.h"
#include "display/cursor.h"
#include "display/damage.h"
#include "display/gc.h"
#include "display/pixmap.h"
#include "display/redraw.h"
#include "display/scale.h"
#include "display/scaling.h"
#include "display/viewport.h"
#include "display/ximage.h"
#include "playback/footer.h"
#include "playback/keyframe.h"
#include "playback/navigation.h"
#include "playback/playing.h"
#include "playback/recorded_screen.h"
#include "recording/reader.h"
#include "survey/survey.h"
#include "trace.h"
#include "widget/callback.h"
#include "widget/instance.h"

namespace {

void event_expose(QomView *view, const XExposeEvent *event) {
  if (!region_touch(view->exposed_region, rectangle_from_expose_event(view, event)))
    warnx("%s: failed to update exposed_region", "event_expose");
  if (event->count == 0) ViewEventuallyRedraw(view);
}

void event_configure(QomView *view, const XConfigureEvent *event) {
  trace(view, "-- %s: width=%d height=%d x=%d y=%d\n", "event_configure", event->width,
        event->height, event->x, event->y);
  if (!scaling(view)) {
    pixmap_recycle(view);
    viewport_clamp(view);
    view->update_scrollbars = true;
  }
  ViewEventuallyRedraw(view);
}

void timers_cancel(QomView *view) {
  going_cancel(view);
  playing_cancel(view);
  Tcl_DeleteTimerHandler(view->first_notice);
  view->first_notice = nullptr;
}

void command_delete(QomView *view) {
  Tcl_Command command = view->widgetCmd;
  view->widgetCmd = nullptr;
  if (command) Tcl_DeleteCommandFromToken(view->interp, command);
}

void pipeline_teardown(QomView *view) {
  scaling_teardown(view);
  screen_teardown(view);
  cursor_teardown(view);
  gc_teardown(view);
  pixmap_teardown(view);
  ximage_teardown(view);
}

void widget_teardown(QomView *view) {
  callback_reset(view);
  options_teardown(view);
  if (view->exposed_region) XDestroyRegion(view->exposed_region);
  view->exposed_region = nullptr;
  view->display = nullptr;
}

void view_destroy(QomView *view) {
  trace(view, "-- %s: cleanup\n", "view_destroy");
  timers_cancel(view);
  footer_items_release(view->footer_items);
  pipeline_teardown(view);
  widget_teardown(view);
  merge_teardown(view);
  cache_teardown(view);
  reader_teardown(view);
  memset(view, 0, sizeof *view);
  Tcl_Free(reinterpret_cast<char *>(view));
}

/* Free procedure for Tcl_EventuallyFree(). */
void ViewDestroy(char *memPtr) noexcept {
  view_destroy(reinterpret_cast<QomView *>(memPtr));
}

}  // namespace

void ViewEventProc(ClientData clientData, XEvent *event) noexcept {
  auto *view = static_cast<QomView *>(clientData);
  switch (event->type) {
    case Expose:
      return event_expose(view, &event->xexpose);
    case ConfigureNotify:
      return event_configure(view, &event->xconfigure);
    case DestroyNotify:
      return view_end(view);
    default:
      return;
  }
}

void ViewInstanceDeleteProc(ClientData clientData) noexcept {
  auto *view = static_cast<QomView *>(clientData);
  assert(view != 0 && "view should not be NULL");
  view->widgetCmd = nullptr; /* the token ends with this call */
  view_end(view);
  Tcl_Release(view);
}

/*
 * The window's Destroy bindings and the traces of the command are scripts that may still call
 * the view, and do anything else. Nothing of the window is used once they run.
 */
void view_end(QomView *view) {
  if (view->destroying_view) return;
  view->destroying_view = true;
  Tk_Window window = view->tkwin;
  view->tkwin = nullptr;
  view_display_cancel(view);
  timers_cancel(view);
  survey_end(view);
  if (window) Tk_DestroyWindow(window); /* nothing where it is what ends the view */
  command_delete(view);
  Tcl_EventuallyFree(view, ViewDestroy);
}
