/*
 * display/repaint.h - painting the window from the pixmap.
 *
 * The window shows the pixmap and, right of and below the picture, grey bands. Nothing is
 * drawn on a window that is not mapped.
 */
#ifndef QOMTCL_DISPLAY_REPAINT_H
#define QOMTCL_DISPLAY_REPAINT_H

#include "view.h"

/*
 * Paints what pixmap_region and exposed_region say and empties both. With one copy of the
 * bounding box of what is visible of them; the exposed parts beside the picture are
 * filled. What cannot be painted for want of memory is dropped.
 */
void view_repaint(QomView *view);

/* Fills both bands whole. Only with scaling on. Does nothing while the window is not
   mapped. */
void view_repaint_scaled_bands(QomView *view);

/* The window right of and below the scaled picture, window coordinates; empty when the
   picture reaches the edge. Only with scaling on. */
XRectangle rectangle_for_right_band(const QomView *view);
XRectangle rectangle_for_bottom_band(const QomView *view);

#endif /* QOMTCL_DISPLAY_REPAINT_H */
