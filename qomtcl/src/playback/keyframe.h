/*
 * playback/keyframe.h - snapshots of the frame state for moves backward and far ahead.
 *
 * The cache has a ceiling. A save that takes it beyond drops every other key frame, never the
 * first, and from then on key frames lie twice as far apart; and again until it fits.
 */
#ifndef QOMTCL_PLAYBACK_KEYFRAME_H
#define QOMTCL_PLAYBACK_KEYFRAME_H

#include "view.h"

/* From a key frame to the next at least, until the cache has reached its ceiling; microseconds
   of recording time. */
inline constexpr uint64_t kKeyFrameSpacing = 20000000;

/* Bytes of memory beyond which the cache thins itself out. With a key frame more, which it
   holds before it does, it stays below 512 MiB where a picture has at most 64 MiB. */
inline constexpr size_t kKeyFrameCeiling = size_t{440} << 20;

/* Makes an empty cache. False, with a line on standard error, when memory is short. */
bool cache_setup(QomView *view);

/* Releases all key frames. May run twice. */
void cache_teardown(QomView *view);

/* True when the cache is empty or its latest key frame is older than `time` by the spacing
   at least. */
bool cache_is_due(const QomView *view, uint64_t time);

/* Offers the current frame state as a key frame of the recording time `time`; it is
   saved when cache_is_due(). A
   failure is told on standard error and changes nothing. */
void cache_update(QomView *view, uint64_t time);

/* The last key frame not after `timestamp`, the first one when all are after it, none
   when there are none. Owned by the cache; valid until the next cache_update(). */
KeyFrame *cache_find_closest_keyframe(QomView *view, uint64_t timestamp);

/* Makes the view's frame state that of the key frame and asks for a display. The
   current frame number is the caller's business. On failure false, with a line on
   standard error. */
bool cache_state_restore(QomView *view, KeyFrame *key_frame);

/* The same without the footer texts. */
bool cache_picture_restore(QomView *view, const KeyFrame *key_frame);

/* Empties the frame's damage and marks the whole frame. */
void ximage_region_touch(QomView *view);

#endif /* QOMTCL_PLAYBACK_KEYFRAME_H */
