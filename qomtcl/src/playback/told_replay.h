/*
 * playback/told_replay.h - what a move tells of the footer texts, wherever its picture starts.
 *
 * A script hears which texts a move changed, and that must not depend on checkpoints or on
 * which key frames are still in memory. It is what a move tells that knows only key frames,
 * one at the first picture and one each 20 seconds as far as the view has ever been: it goes
 * on from the view's own place, or from a key frame whose texts become the view's, and every
 * record after that counts.
 */
#ifndef QOMTCL_PLAYBACK_TOLD_REPLAY_H
#define QOMTCL_PLAYBACK_TOLD_REPLAY_H

#include "view.h"

/* How such a move starts. */
enum class ToldStart { here, key_frame, beginning };

struct ToldReplay {
  ToldStart from;
  uint64_t time; /* of the key frame */
  size_t start;  /* first record whose texts count */
};

/* How a move to the frame `to` (at most number_of_frames) does. */
ToldReplay told_replay(const QomView *view, size_t to);

/* Brings the texts and their marks to where that move has them when it comes to the record
   `index`, or to its start when that is further on; progress.texts says where they are. */
void told_replay_follow(QomView *view, const ToldReplay &told, size_t index);

/* True when the view is beyond the start of the frame `to`. */
bool is_beyond(const QomView *view, size_t to);

/* True when a key frame of a time is further on than the view. */
bool key_frame_is_ahead(const QomView *view, uint64_t time);

/* Where the replay goes on after a key frame of a time. Times of single records may lie
   before the first frame where the recording's clock went back. */
size_t frame_of_key_frame(const QomView *view, uint64_t time);

/* False for a recording without one; its frame 0 is not known by a key frame. */
bool has_first_image(const QomView *view);

#endif /* QOMTCL_PLAYBACK_TOLD_REPLAY_H */
