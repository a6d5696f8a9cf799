#include "widget/events.h"

#include <err.h>

#include <cassert>
#include <cstring>

#include "display/conversion.h"
#include "display/cursor.h"
#include "display/damage.h"
#include "display/pipeline.h"
#include "display/pixmap.h"
#include "display/scaling.h"
#include "display/viewport.h"
#include "display/ximage.h"
#include "playback/footer.h"
#include "playback/keyframe.h"
#include "playback/navigation.h"
#include "playback/playing.h"
#include "recording/reader.h"
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
  const Tcl_Command command = view->widgetCmd;
  view->widgetCmd = nullptr;
  if (command) Tcl_DeleteCommandFromToken(view->interp, command);
}

/*
 * A script that is running may hold the view's memory. What it could still meet goes at
 * once: the command, and every timer.
 */
void event_destroy(QomView *view) {
  view->tkwin = nullptr;
  view_display_cancel(view);
  timers_cancel(view);
  command_delete(view);
  Tcl_EventuallyFree(view, ViewDestroy);
}

void gc_free(QomView *view, GC *gc) {
  if (*gc) XFreeGC(view->display, *gc);
  *gc = nullptr;
}

void pipeline_teardown(QomView *view) {
  scaling_teardown(view);
  cursor_teardown(view);
  gc_free(view, &view->gc);
  pixmap_teardown(view);
  ximage_teardown(view);
}

void widget_teardown(QomView *view) {
  callback_reset(view);
  options_teardown(view);
  gc_free(view, &view->scaling.gc);
  gc_free(view, &view->gc);
  if (view->exposed_region) XDestroyRegion(view->exposed_region);
  view->exposed_region = nullptr;
  command_delete(view);
  view->display = nullptr;
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
      return event_destroy(view);
    default:
      return;
  }
}

void ViewInstanceDeleteProc(ClientData clientData) noexcept {
  auto *view = static_cast<QomView *>(clientData);
  assert(view != 0 && "view should not be NULL");
  view->widgetCmd = nullptr; /* the token ends with this call */
  if (view->tkwin) Tk_DestroyWindow(view->tkwin);
  Tcl_Release(view);
}

void ViewDestroy(char *memPtr) noexcept {
  auto *view = reinterpret_cast<QomView *>(memPtr);
  if (view && !view->destroying_view) view_destroy(view);
}

void view_destroy(QomView *view) {
  view->destroying_view = true;
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
