/*
 * playback/recorded_screen.h - the library's screen behind a view.
 *
 * The library turns records into pixels, cursor and size, keeps snapshots and chooses where a move
 * starts (qom/screen.h); its picture is the view's frame image. Here is what ties the two: the
 * frame image's memory, the merge function and the trace, handed down.
 */
#ifndef QOMTCL_PLAYBACK_RECORDED_SCREEN_H
#define QOMTCL_PLAYBACK_RECORDED_SCREEN_H

#include "view.h"

/* Opens the screen on the view's recording, with the frame image as its picture. On failure false
   with error code and result set. */
bool screen_setup(QomView *view);

/* Closes it. May run twice. */
void screen_teardown(QomView *view);

#endif /* QOMTCL_PLAYBACK_RECORDED_SCREEN_H */
