#include "playback/navigation.h"

#include <algorithm>

#include "display/pipeline.h"
#include "playback/known_state.h"
#include "playback/playing.h"
#include "playback/stepping.h"
#include "recording/timeline.h"
#include "trace.h"
#include "view_hold.h"
#include "widget/callback.h"

namespace {

constexpr int kMoveKnown = kMoveError | kMoveAtEnd | kMoveTimeout;

void next_round_schedule(QomView *view) {
  trace(view, "-- %s: timeout -> scheduling next round\n", "go_to_frame_task");
  view->going.token = Tcl_CreateTimerHandler(0, go_to_frame_task, view);
}

void move_failed(QomView *view, void (*notify)(QomView *)) {
  playing_off(view);
  notify(view);
}

/* Shows and reports what the round has reached; scripts run on both ways. */
void round_report(QomView *view, const ViewHold &hold) {
  ViewDisplay(view);
  if (hold.alive()) notify_timestamp(view);
}

void move_at_end(QomView *view) {
  trace(view, "-- %s: playing done -> exiting\n", "go_to_frame_task");
  playing_off(view);
  notify_done(view);
}

void move_reached(QomView *view) {
  trace(view, "-- %s: playing ok\n", "go_to_frame_task");
  if (!view->playing.suspended) return;
  trace(view, "-- %s: reactivating suspended play\n", "go_to_frame_task");
  play_start(view);
}

/* Frame 0 is shown with the first picture, which may have been made later than the moment. */
int go_to_target(QomView *view) {
  struct going *going = &view->going;
  if (!going->frame_reached) {
    view->progress.moment = 0;
    const int code = go_to_frame(view, going->target_frame);
    if (going->moment == 0 || (code & (kMoveError | kMoveTimeout))) return code;
    going->frame_reached = true;
  }
  const int code = go_on_to_moment(view, going->moment);
  return code == kMoveReached && last_frame_is_reached(view) ? kMoveAtEnd : code;
}

}  // namespace

void go_to_frame_task(ClientData clientData) noexcept {
  auto *view = static_cast<QomView *>(clientData);
  view->going.token = nullptr;
  const ViewHold hold(view);
  if (!hold.alive()) return;
  if (view->playing.on) playing_suspend(view);
  const int code = go_to_target(view);
  trace(view, "-- %s: go_to_frame=%d\n", "go_to_frame_task", code);
  if (code & ~kMoveKnown) return move_failed(view, notify_unknown);
  if (code == kMoveError) return move_failed(view, notify_error);
  if (code & kMoveTimeout) next_round_schedule(view);
  round_report(view, hold);
  if (!hold.alive()) return;
  if (code & kMoveAtEnd) return move_at_end(view);
  if (code == kMoveReached) move_reached(view);
}

int go_to_frame(QomView *view, size_t target) {
  const size_t to = std::min(target, view->number_of_frames);
  const size_t from = view->current_frame;
  trace(view, "-- %s: current=%zu to=%zu\n", "go_to_frame", from, to);
  const Round round;
  /* On the way to the first image the view's place is none to start from to elsewhere. */
  if (view->progress.to_first_image && to > 0) place_set(view, 0, 0);
  if (!view->progress.to_first_image) {
    const RunResult started = start_from_known_state(view, to, &round);
    if (started == RunResult::failed) return kMoveError;
    if (started == RunResult::paused) return kMoveReached | kMoveTimeout;
  }
  const int code = view->progress.to_first_image
                       ? go_to_first_image(view, round)
                       : go_on_from_to(view, view->current_frame, to, round);
  /* The known state itself may have been the end. */
  if (code == kMoveReached && from != to && last_frame_is_reached(view)) return kMoveAtEnd;
  return code;
}

void going_start(QomView *view, size_t frame) {
  going_cancel(view);
  view->going.target_frame = frame;
  view->going.moment = 0;
  view->going.frame_reached = false;
  view->going.token = Tcl_CreateTimerHandler(0, go_to_frame_task, view);
}

void going_start_to_moment(QomView *view, uint64_t time) {
  const uint64_t first = time_of_first_frame(view);
  const uint64_t moment = std::clamp(time, first, time_of_last_record(view));
  going_start(view, std::min(frame_at_time(view, moment), view->number_of_frames));
  view->going.moment = moment;
}

void going_cancel(QomView *view) {
  Tcl_DeleteTimerHandler(view->going.token);
  view->going.token = nullptr;
}
