/*
 * playback/screen_follow.h - the view brought to what its screen has become.
 */
#ifndef QOMTCL_PLAYBACK_SCREEN_FOLLOW_H
#define QOMTCL_PLAYBACK_SCREEN_FOLLOW_H

#include "view.h"

/*
 * Brings the view to what its screen has become: size, cursor and damage. False when what shows a
 * new size or a larger cursor could not be made, which the next display tries again.
 */
bool screen_follow(QomView *view);

#endif /* QOMTCL_PLAYBACK_SCREEN_FOLLOW_H */
