/*
 * widget/view_lookup.h - from the path name that a command is given to the view behind it.
 */
#ifndef QOMTCL_WIDGET_VIEW_LOOKUP_H
#define QOMTCL_WIDGET_VIEW_LOOKUP_H

#include "view.h"

/* The view of a path name; null with Tk's or an own message in the interpreter when there is none,
   or none with a window. The view stays the interpreter's. */
QomView *view_from_path(Tcl_Interp *interp, Tcl_Obj *path);

#endif /* QOMTCL_WIDGET_VIEW_LOOKUP_H */
