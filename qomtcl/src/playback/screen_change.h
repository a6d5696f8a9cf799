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

/* The screen was given a size, whose pixels may still wait for a last one of several: the scroll
   position follows each of them. */
void screen_change_note(QomView *view, uint16_t width, uint16_t height);

/* Brings what shows the frame to its size, where that is another one since the last call. False
   when the pixmap could not be made, which the next display tries again. */
bool screen_change_follow(QomView *view);

#endif /* QOMTCL_PLAYBACK_SCREEN_CHANGE_H */
