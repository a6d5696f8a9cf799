/*
 * playback/first_image.h - the first full picture of a recording.
 */
#ifndef QOMTCL_PLAYBACK_FIRST_IMAGE_H
#define QOMTCL_PLAYBACK_FIRST_IMAGE_H

#include "view.h"

/*
 * Walks the index from its start to the first compressed image or blocks record and
 * applies it, and on the way the cursor shapes, screen changes and footer items; offers
 * the first key frame, and schedules the first notification when there were footer
 * items. Where the picture takes long its rest and the key frame are left to a move to frame 0,
 * which is scheduled then. True also when the recording has no such record. False on failure; then
 * the interpreter's result and error code are set where the reason has words.
 */
bool pipeline_find_first_image(QomView *view);

#endif /* QOMTCL_PLAYBACK_FIRST_IMAGE_H */
