/*
 * playback/known_state.h - where a move starts.
 *
 * The frame state is known without replaying at three kinds of places: where the view
 * is, at its key frames, and at the checkpoints of the recording. A move starts from the
 * one that leaves the least to apply. What it ends with is the same from each.
 */
#ifndef QOMTCL_PLAYBACK_KNOWN_STATE_H
#define QOMTCL_PLAYBACK_KNOWN_STATE_H

#include "view.h"

/*
 * Brings the frame state and current_frame to where a move to the frame `to` (at most
 * number_of_frames) starts; current_frame is not after `to` then. The footer items get the
 * values and marks that told_replay.h tells of. A checkpoint that cannot be applied costs only
 * the time to try it. False when a key frame could not be restored or memory is short.
 */
bool start_from_known_state(QomView *view, size_t to);

#endif /* QOMTCL_PLAYBACK_KNOWN_STATE_H */
