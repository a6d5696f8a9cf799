/*
 * playback/navigation.h - moving from frame to frame.
 *
 * Moves report with bits: 0 the target was reached, 1 error (always alone), 2 the last
 * frame was applied, 4 the time budget of a round ran out first.
 */
#ifndef QOMTCL_PLAYBACK_NAVIGATION_H
#define QOMTCL_PLAYBACK_NAVIGATION_H

#include "view.h"

inline constexpr int kMoveReached = 0;
inline constexpr int kMoveError = 1;
inline constexpr int kMoveAtEnd = 2;
inline constexpr int kMoveTimeout = 4;

/* Timer procedure of one round of a move towards going.target_frame; the client data is
   the QomView. Repaints, reports to the script and goes on in a further round when the
   budget ran out. */
void go_to_frame_task(ClientData clientData) noexcept;

/* Moves towards `target` for at most one round's budget; from the closest known state
   when that leaves less to replay. Returns the bits above. Does not repaint. */
int go_to_frame(QomView *view, size_t target);

/* Applies the frames from..to - 1 in order; from <= to. Returns the bits above. */
int go_from_to(QomView *view, size_t from, size_t to);

/* Moves one frame ahead; 2 at once when the last frame was applied already. */
int go_to_next_frame(QomView *view);

/* Applies the records first <= index < last, `last` limited to the index. Returns 0, or
   1 at the first record that cannot be read or applied, which is named on standard
   error. */
int consume_records(QomView *view, size_t first, size_t last);

/* Heads for a frame, at most number_of_frames: a round of a new move runs from the event
   loop; one that is pending is replaced. */
void going_start(QomView *view, size_t frame);

/* Deletes the pending round, if any. May run twice. */
void going_cancel(QomView *view);

#endif /* QOMTCL_PLAYBACK_NAVIGATION_H */
