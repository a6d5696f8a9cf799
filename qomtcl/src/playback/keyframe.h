/*
 * playback/keyframe.h - snapshots of the frame state for moves backward and far ahead.
 */
#ifndef QOMTCL_PLAYBACK_KEYFRAME_H
#define QOMTCL_PLAYBACK_KEYFRAME_H

#include "view.h"

/* Makes an empty cache. False, with a line on standard error, when memory is short. */
bool cache_setup(QomView *view);

/* Releases all key frames. May run twice. */
void cache_teardown(QomView *view);

/* Offers the current frame state as a key frame of the recording time `time`; it is
   saved when the cache is empty or the latest one is at least 20 seconds older. A
   failure is told on standard error and changes nothing. */
void cache_update(QomView *view, uint64_t time);

/* The last key frame not after `timestamp`, the first one when all are after it, none
   when there are none. Owned by the cache; valid until the next cache_update(). */
KeyFrame *cache_find_closest_keyframe(QomView *view, uint64_t timestamp);

/* Makes the view's frame state that of the key frame and asks for a display. The
   current frame number is the caller's business. On failure false, with a line on
   standard error. */
bool cache_state_restore(QomView *view, KeyFrame *key_frame);

/* Empties the frame's damage and marks the whole frame. */
void ximage_region_touch(QomView *view);

#endif /* QOMTCL_PLAYBACK_KEYFRAME_H */
