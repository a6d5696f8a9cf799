/*
 * playback/known_state.h - where a move starts.
 *
 * The view's screen chooses among the states that it knows without replaying: where it is, its
 * snapshots, and the checkpoints of the recording. What a move ends with is the same from each.
 */
#ifndef QOMTCL_PLAYBACK_KNOWN_STATE_H
#define QOMTCL_PLAYBACK_KNOWN_STATE_H

#include "playback/record_run.h"

/*
 * Brings the frame state and current_frame to where a move to the frame `to` (at most
 * number_of_frames) starts; current_frame is not after `to` then. The footer items get the
 * values and marks that told_replay.h tells of. A checkpoint that cannot be applied costs only
 * the time to try it. Paused: the picture of a checkpoint takes long, and all is as it was; failed:
 * a key frame could not be restored or memory is short.
 */
RunResult start_from_known_state(QomView *view, size_t to, const Round *round);

#endif /* QOMTCL_PLAYBACK_KNOWN_STATE_H */
