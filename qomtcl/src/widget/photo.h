/*
 * widget/photo.h - the frame as a Tk photo image.
 */
#ifndef QOMTCL_WIDGET_PHOTO_H
#define QOMTCL_WIDGET_PHOTO_H

#include "view.h"

/*
 * Puts the frame, at its recorded size and opaque, into the existing photo image `name`,
 * which gets that size; with the cursor over it if asked for and there is one. Returns a
 * Tcl code.
 */
int photo_put(const QomView *view, const char *name, bool with_cursor);

#endif /* QOMTCL_WIDGET_PHOTO_H */
