/*
 * playback/stepping.h - frames applied one after the other.
 *
 * Moves report with bits: 0 the target was reached, 1 error (always alone), 2 the last
 * frame was applied, 4 the time budget of a round ran out first.
 */
#ifndef QOMTCL_PLAYBACK_STEPPING_H
#define QOMTCL_PLAYBACK_STEPPING_H

#include "playback/round.h"
#include "view.h"

inline constexpr int kMoveReached = 0;
inline constexpr int kMoveError = 1;
inline constexpr int kMoveAtEnd = 2;
inline constexpr int kMoveTimeout = 4;

/*
 * Applies the frames from..to - 1 in order; from <= to. Returns the bits above. Looks at the
 * budget after every 25th frame. Where records take long it also pauses between two records
 * of a frame, which is not counted as applied then, and after a frame; a later call that
 * begins with that frame goes on with the record after them.
 */
int go_from_to(QomView *view, size_t from, size_t to);

/* The same in a round that has begun earlier. */
int go_on_from_to(QomView *view, size_t from, size_t to, const Round &round);

/*
 * Shows frame 0, whose picture is the first full image: applies the records from the view's own
 * place up to it. Pauses like the above, then with progress.to_first_image on; a later call goes
 * on. When it has ended the view's place is the beginning of frame 0.
 */
int go_to_first_image(QomView *view, const Round &round);

/*
 * Applies the records behind the current frame whose time is at or before `time`, microseconds, so
 * that what is shown is what was on the screen then. Returns 0, 1 or 4 of the above; after 4 a
 * later call goes on.
 */
int go_on_to_moment(QomView *view, uint64_t time);

/* True while some records of the frame current_frame are applied, and not all. */
bool is_within_frame(const QomView *view);

/* The first record that is not applied: the view's own place among the records. */
size_t next_record(const QomView *view);

/* Gives the view another place: at the record `next` of a frame; 0: at its first one. */
void place_set(QomView *view, size_t frame, size_t next);

/* Moves one frame ahead; 2 at once when the last frame was applied already. */
int go_to_next_frame(QomView *view);

#endif /* QOMTCL_PLAYBACK_STEPPING_H */
