/*
 * display/cursor.h - the remote cursor over the picture.
 *
 * The frame image never holds the cursor. The cursor is blended with the frame under it
 * into an image of its own, which is uploaded into the pixmap on top of the frame.
 */
#ifndef QOMTCL_DISPLAY_CURSOR_H
#define QOMTCL_DISPLAY_CURSOR_H

#include "view.h"

/*
 * Makes a shape, which stays the screen's, the current cursor. False with error code and result set
 * when the images for a larger one cannot be made; the display then does without and tries to make
 * them again.
 */
bool cursor_update(QomView *view, const QomCursorImage *cursor_image);

/* Moves the hot spot to x, y (frame coordinates, any 16-bit value) and recomputes the
   clipped rectangle and the unclipped corner; nothing without a cursor. */
void cursor_update_current_position(QomView *view, int x, int y);

/* Brings shape and place to those of the view's screen. False as cursor_update(). */
bool cursor_follow(QomView *view);

/* From here on there is no cursor. */
void cursor_forget(QomView *view);

/* Remakes scaling.cursor for the current cursor (9 x 16 without one) and factor. On
   failure false with error code and result set. */
bool cursor_scaling_ximage_realloc(QomView *view);

/* The frame changed under the cursor, or the display pass under way has overwritten a part
   of it in the pixmap. With scaling on that is also so where a change beside the cursor
   reaches its edge through the filter. */
bool cursor_is_damaged(const QomView *view);

/* The cursor is not where, not as large or not in the shape in which it was last painted. */
bool cursor_has_moved(const QomView *view);

/*
 * Restores the picture where the cursor was, paints it where it is and marks both in
 * pixmap_region. A cursor for which there is no memory is left out until the next display.
 * With scaling on the cursor's pixels are those that the filter makes of the frame with
 * the cursor in it, from the cursor's corner on; they lie at rectangle_scale(current).
 */
void cursor_repaint(QomView *view);

/* Releases the image and forgets shape and positions. May run twice. */
void cursor_teardown(QomView *view);

#endif /* QOMTCL_DISPLAY_CURSOR_H */
