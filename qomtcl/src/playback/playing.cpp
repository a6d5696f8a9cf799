#include "playback/playing.h"

#include "recording/timeline.h"

bool playing_setup(QomView *view) {
  view->playing.period = 1000 / view->option.framerate;
  view->playing.period_in_us = 1000000u / view->option.framerate;
  const uint64_t duration = duration_in_us(view);
  const uint64_t frame = view->playing.period_in_us;
  view->number_of_frames = duration / frame + (duration % frame != 0 ? 1 : 0);
  return true;
}

void playing_cancel(QomView *view) {
  Tcl_DeleteTimerHandler(view->playing.token);
  view->playing.token = nullptr;
  Tcl_DeleteTimerHandler(view->tick);
  view->tick = nullptr;
}
