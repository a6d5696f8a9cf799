/*
 * playback/navigation.h - moving from frame to frame.
 */
#ifndef QOMTCL_PLAYBACK_NAVIGATION_H
#define QOMTCL_PLAYBACK_NAVIGATION_H

#include "view.h"

/* Timer procedure of one round of a move towards going.target_frame; the client data is
   the QomView. Repaints, reports to the script and goes on in a further round when the
   budget ran out. */
void go_to_frame_task(ClientData clientData) noexcept;

/* Moves towards `target` for at most one round's budget; from the closest known state
   when that leaves less to replay. Returns the bits of stepping.h. Does not repaint. */
int go_to_frame(QomView *view, size_t target);

/* Heads for a frame, at most number_of_frames: a round of a new move runs from the event
   loop; one that is pending is replaced. */
void going_start(QomView *view, size_t frame);

/* The same to a moment, microseconds, limited to the recording: to the last frame that is not after
   it, and all records up to it. */
void going_start_to_moment(QomView *view, uint64_t time);

/* Deletes the pending round, if any. May run twice. */
void going_cancel(QomView *view);

#endif /* QOMTCL_PLAYBACK_NAVIGATION_H */
