/*
 * display/pixmap.h - the server-side copy of the picture.
 */
#ifndef QOMTCL_DISPLAY_PIXMAP_H
#define QOMTCL_DISPLAY_PIXMAP_H

#include "view.h"

/*
 * Makes the pixmap, of the frame's size at natural size and of the window's size with
 * scaling on, filled black (unless 5 pixels or less on a side), and its empty region;
 * marks the whole frame changed. A pixmap that the view has already is released first.
 * On failure, also the X server's, false with error code QOM SETUP PIXMAP and the
 * result "failed to setup pixmap"; the view then has neither.
 */
bool pixmap_setup(QomView *view);

/* Releases both. May run twice. */
void pixmap_teardown(QomView *view);

/* A teardown and a setup. */
bool pixmap_recycle(QomView *view);

#endif /* QOMTCL_DISPLAY_PIXMAP_H */
