/*
 * playback/screen_change.h - a new size of the recorded screen.
 */
#ifndef QOMTCL_PLAYBACK_SCREEN_CHANGE_H
#define QOMTCL_PLAYBACK_SCREEN_CHANGE_H

#include "view.h"

/*
 * Gives the frame a new size, 1..QOM_MAX_SIDE pixels on each side and
 * at most QOM_MAX_DATA bytes on the display; the common part of
 * the picture stays at the top left, the rest is zero. Asks Tk for the new size and for
 * a display. Returns 0, or 1 with the old size and picture in place when the size is
 * out of range or memory is short; also 1, with the new size and picture in place, when
 * only the pixmap could not be made, which the next display tries again.
 */
int screen_change_process(QomView *view, uint16_t new_width, uint16_t new_height);

/*
 * The same for a size that another one follows before anything needs the picture: sizes and
 * scroll position change, the pixels wait. Between this and screen_change_settle() no pixel
 * may be touched, nothing displayed and no key frame saved or restored. Returns 0, or 1 with
 * nothing changed when the size is out of range.
 */
int screen_change_pass(QomView *view, uint16_t new_width, uint16_t new_height);

/* Brings the pixels to the frame's size where they wait for it; does nothing otherwise.
   Returns as screen_change_process() does. */
int screen_change_settle(QomView *view);

#endif /* QOMTCL_PLAYBACK_SCREEN_CHANGE_H */
