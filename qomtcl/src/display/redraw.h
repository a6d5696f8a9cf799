/*
 * display/redraw.h - the queue of the display: one idle call for each view.
 */
#ifndef QOMTCL_DISPLAY_REDRAW_H
#define QOMTCL_DISPLAY_REDRAW_H

#include "view.h"

/* Names what shows the view: an idle procedure, given the view. Before, nothing is queued. */
void redraw_setup(QomView *view, Tcl_IdleProc *show);

/* Queues one display unless one is queued or the window is gone. */
void ViewEventuallyRedraw(QomView *view);

/* Drops the queued display, if any. */
void view_display_cancel(QomView *view);

#endif /* QOMTCL_DISPLAY_REDRAW_H */
