#include "display/redraw.h"

void redraw_setup(QomView *view, Tcl_IdleProc *show) {
  view->show = show;
}

void ViewEventuallyRedraw(QomView *view) {
  if (!view->tkwin || !view->show || view->redraw_pending) return;
  Tcl_DoWhenIdle(view->show, view);
  view->redraw_pending = true;
}

void view_display_cancel(QomView *view) {
  view->redraw_pending = false;
  if (view->show) Tcl_CancelIdleCall(view->show, view);
}
