/*
 * playback/playing.h - playing in real time.
 */
#ifndef QOMTCL_PLAYBACK_PLAYING_H
#define QOMTCL_PLAYBACK_PLAYING_H

#include "view.h"

/* Computes the two periods and the number of frames from option.framerate. The first
   image must have been looked for. Always true. */
bool playing_setup(QomView *view);

/* Start, stop, and ask; each returns TCL_OK. play_status sets the result to 0 or 1. */
int play_start(QomView *view);
int play_stop(QomView *view);
int play_status(QomView *view);

/* Recording time per wall time from now on, 0.1..64. */
void speed_set(QomView *view, double speed);

/* Deletes the pending step and turns playing and its suspension off. May run twice. */
void playing_off(QomView *view);

/* Turns playing off and remembers to resume it. */
void playing_suspend(QomView *view);

/* Timer procedures; the client data is the QomView. */
void playing_prepare(ClientData clientData) noexcept;
void playing_show(ClientData clientData) noexcept;
void debug_tick(ClientData clientData) noexcept;

/* Deletes every timer of playing, the trace tick included. May run twice. */
void playing_cancel(QomView *view);

#endif /* QOMTCL_PLAYBACK_PLAYING_H */
