/*
 * playback/keyframe.h - snapshots of the frame state for moves backward and far ahead.
 *
 * The screen of the library holds them (qom_screen_save()); here is when they are saved.
 */
#ifndef QOMTCL_PLAYBACK_KEYFRAME_H
#define QOMTCL_PLAYBACK_KEYFRAME_H

#include "view.h"

/* From a key frame to the next at least, until the cache has reached its ceiling; microseconds
   of recording time. */
inline constexpr uint64_t kKeyFrameSpacing = 20000000;

/* Bytes of memory beyond which the key frames thin themselves out. With one more, which they
   hold before they do, they stay below 512 MiB where a picture has at most 64 MiB. */
inline constexpr size_t kKeyFrameCeiling = size_t{440} << 20;

/* Saves the current frame state as a key frame of the recording time `time`, that of the last
   record, where one is due. A failure is told on standard error and changes nothing. */
void cache_update(QomView *view, uint64_t time);

/* Releases what is kept beside. May run twice. */
void cache_teardown(QomView *view);

#endif /* QOMTCL_PLAYBACK_KEYFRAME_H */
