/*
 * widget/events.h - X events of a view's window, and the end of a view.
 */
#ifndef QOMTCL_WIDGET_EVENTS_H
#define QOMTCL_WIDGET_EVENTS_H

#include "view.h"

/* Tk event handler for ExposureMask and StructureNotifyMask; the client data is the
   QomView. */
void ViewEventProc(ClientData clientData, XEvent *event) noexcept;

/* Delete procedure of the instance command: destroys the window if there is one, and gives
   up the hold (Tcl_Preserve) that the command has on the view. */
void ViewInstanceDeleteProc(ClientData clientData) noexcept;

/* Free procedure for Tcl_EventuallyFree(): view_destroy() unless it has begun already. */
void ViewDestroy(char *memPtr) noexcept;

/*
 * Releases everything the view owns, deletes its command and with it its window, and
 * frees the record. Called directly only for a view whose creation failed; every other
 * view ends through ViewDestroy(). Runs once per view.
 */
void view_destroy(QomView *view);

#endif /* QOMTCL_WIDGET_EVENTS_H */
