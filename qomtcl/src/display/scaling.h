/*
 * display/scaling.h - fitting the picture to the window: the mode, and what it needs.
 */
#ifndef QOMTCL_DISPLAY_SCALING_H
#define QOMTCL_DISPLAY_SCALING_H

#include "view.h"

/*
 * Makes the scaled images for the window's present size, limits the factor (to 1 unless it is fine)
 * and marks the whole frame changed. Only with scaling on. False on failure; error code and result
 * are set only when the scaled cursor is what failed.
 */
bool scaling_setup(QomView *view);

/* Releases the scaled images. May run twice. */
void scaling_teardown(QomView *view);

/* A teardown and a setup. */
bool scaling_recycle(QomView *view);

/* scaling_setup() and pixmap_setup() with scaling on; true at once otherwise. */
bool frontend_setup(QomView *view);

/* True when the scaled images or the pixmap do not fit the window, or are missing. */
bool frontend_size_changed(const QomView *view);

/* scaling_recycle() and pixmap_recycle(). */
bool frontend_recycle(QomView *view);

/* Changes how the picture is scaled, and asks for a display. False when images or pixmap could not
   be made anew. */
bool scaling_set_fine(QomView *view, bool fine);

/* Changes the mode and asks for a display. Returns a Tcl code; the mode stays changed
   on failure. */
int scaling_switch_mode(QomView *view);

#endif /* QOMTCL_DISPLAY_SCALING_H */
