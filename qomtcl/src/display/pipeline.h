/*
 * display/pipeline.h - from the frame image over the pixmap to the window.
 */
#ifndef QOMTCL_DISPLAY_PIPELINE_H
#define QOMTCL_DISPLAY_PIPELINE_H

#include "view.h"

/*
 * Shows what changed; the client data is the QomView. An idle procedure that may also be
 * called directly, which cancels a queued one. Does nothing while the window is not
 * mapped; the damage is kept. Runs the scroll commands when they are due, so the view may
 * be dead when it returns: hold it with a ViewHold.
 */
void ViewDisplay(ClientData clientData) noexcept;

/* Queues one ViewDisplay unless one is queued or the window is gone. */
void ViewEventuallyRedraw(QomView *view);

/* Drops the queued display, if any. */
void view_display_cancel(QomView *view);

/* Fills the window beside and below the scaled picture. Does nothing while the window is
   not mapped. Only with scaling on. */
void view_repaint_scaled_bands(QomView *view);

/* The window right of and below the scaled picture, window coordinates. Only with
   scaling on. */
XRectangle rectangle_for_right_band(const QomView *view);
XRectangle rectangle_for_bottom_band(const QomView *view);

/* True when the display pass under way has overwritten a part of this rectangle, pixmap
   coordinates, with the clean frame. */
bool upload_touches(const QomView *view, XRectangle rectangle);

#endif /* QOMTCL_DISPLAY_PIPELINE_H */
