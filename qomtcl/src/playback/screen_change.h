/*
 * playback/screen_change.h - a new size of the recorded screen.
 */
#ifndef QOMTCL_PLAYBACK_SCREEN_CHANGE_H
#define QOMTCL_PLAYBACK_SCREEN_CHANGE_H

#include "view.h"

/* The screen was given a size, whose pixels may still wait for a last one of several: the scroll
   position follows each of them. */
void screen_change_note(QomView *view, uint16_t width, uint16_t height);

/* Brings what shows the frame to its size, where that is another one since the last call. False
   when the pixmap could not be made, which the next display tries again. */
bool screen_change_follow(QomView *view);

#endif /* QOMTCL_PLAYBACK_SCREEN_CHANGE_H */
