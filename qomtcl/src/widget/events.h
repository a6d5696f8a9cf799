/*
 * widget/events.h - X events of a view's window, and the end of a view.
 */
#ifndef QOMTCL_WIDGET_EVENTS_H
#define QOMTCL_WIDGET_EVENTS_H

#include "view.h"

/* Tk event handler for ExposureMask and StructureNotifyMask; the client data is the
   QomView. */
void ViewEventProc(ClientData clientData, XEvent *event) noexcept;

/* Delete procedure of the instance command: ends the view, and gives up the hold
   (Tcl_Preserve) that the command has on it. */
void ViewInstanceDeleteProc(ClientData clientData) noexcept;

/*
 * Ends a view, also one whose creation failed at any step: it has no window any more, its
 * timers and queued display are gone, its window and its command are destroyed, which may
 * run scripts, and at the last Tcl_Release() everything it owns is released and the record
 * freed. Does nothing when it has begun already.
 */
void view_end(QomView *view);

#endif /* QOMTCL_WIDGET_EVENTS_H */
