#include "playback/playing.h"

#include "display/pipeline.h"
#include "display/redraw.h"
#include "playback/stepping.h"
#include "playback/tcl_time.h"
#include "recording/timeline.h"
#include "survey/activity.h"
#include "trace.h"
#include "view_hold.h"
#include "widget/callback.h"

namespace {

constexpr int kTick = 1000; /* milliseconds */
/* While playing faster than recorded, in milliseconds: how long the event loop may have no time for
   what it does when nothing else is to do, and how long a frame that is late may go unpainted. */
constexpr int kRestless = 20;
constexpr int kUnpainted = 40;

Tcl_Time time_now() {
  Tcl_Time now;
  Tcl_GetTime(&now);
  return now;
}

void playing_setup_trace(const QomView *view) {
  if (!view->option.debug) return;
  const char *name = "playing_setup";
  trace(view, "\n");
  trace(view, "-- %s: index_length=%zu\n", name, index_length(view));
  trace(view, "-- %s: time of first record=%lu\n", name, view->entries[0].timestamp);
  trace(view, "-- %s: index_of_first_frame=%lu\n", name, view->index_of_first_frame);
  trace(view, "-- %s: time_of_first_frame=%lu\n", name, time_of_first_frame(view));
  trace(view, "-- %s: time_of_last_record=%lu\n", name, time_of_last_record(view));
  trace(view, "-- %s: framerate=%d -> period_in_us=%lu\n", name, view->option.framerate,
        view->playing.period_in_us);
  trace(view, "-- %s: number of frames=%zu\n", name, view->number_of_frames);
  trace(view, "\n");
}

/* Wall time per frame, microseconds. */
int64_t step_in_us(const QomView *view) {
  return static_cast<int64_t>(static_cast<double>(view->playing.period_in_us) /
                              view->playing.speed);
}

/* Steps that follow each other at once would leave no time for anything else. */
int rest(QomView *view, int milliseconds) {
  if (view->playing.speed <= 1) return milliseconds;
  const Tcl_Time now = time_now();
  if (milliseconds <= 0 && time_difference_in_ms(now, view->playing.rested) < kRestless)
    return milliseconds;
  view->playing.rested = now;
  return milliseconds > 0 ? milliseconds : 1;
}

/* A frame that is late is not painted when another one was a moment ago. */
bool is_to_be_painted(const QomView *view) {
  if (view->playing.speed <= 1) return true;
  const Tcl_Time now = time_now();
  return !time_is_less_than(view->playing.time_of_next_frame, now) ||
         time_difference_in_ms(now, view->playing.painted) >= kUnpainted;
}

void frame_paint(QomView *view) {
  view->playing.unpainted = !is_to_be_painted(view);
  if (view->playing.unpainted) return;
  ViewDisplay(view);
  view->playing.painted = time_now();
}

void step_schedule(QomView *view, int milliseconds, Tcl_TimerProc *step) {
  view->playing.token = Tcl_CreateTimerHandler(milliseconds, step, view);
}

void show_schedule(QomView *view) {
  const int delay = time_difference_in_ms(view->playing.time_of_next_frame, time_now());
  trace(view, "-- %s: delta to time of next frame=%d\n", "playing_prepare", delay);
  step_schedule(view, rest(view, delay), playing_show);
  time_add_microseconds(&view->playing.time_of_next_frame, step_in_us(view));
  trace(view, "-- %s: scheduled 'playing_show' after %dms\n", "playing_prepare", delay);
}

void playing_end(QomView *view, const char *reason, void (*notify)(QomView *)) {
  trace(view, "-- %s: %s -> stopping\n", "playing_prepare", reason);
  playing_off(view);
  notify(view);
}

/* What of a frame is applied so far is shown at once, and playing goes on with the rest. */
void pause_show(QomView *view) {
  step_schedule(view, 0, playing_show);
}

/* A frame that took longer than a round's budget is late like any other. */
void playing_exception(QomView *view, int code) {
  trace(view, "-- %s: go_to_next_frame=%x\n", "playing_prepare", static_cast<unsigned>(code));
  if (code & kMoveError) return playing_end(view, "playing error", notify_error);
  if (code & kMoveAtEnd) return playing_end(view, "playing done", notify_done);
  if (!(code & kMoveTimeout)) return playing_end(view, "unknown case", notify_unknown);
  trace(view, "-- %s: playing timeout\n", "playing_prepare");
  if (is_within_frame(view))
    pause_show(view);
  else
    show_schedule(view);
}

void tick_cancel(QomView *view) {
  Tcl_DeleteTimerHandler(view->tick);
  view->tick = nullptr;
}

/* Ticks anew from now, whatever was missed while playing was off. */
void tick_start(QomView *view) {
  tick_cancel(view);
  view->next_tick = {0, 0};
  debug_tick(view);
}

}  // namespace

bool playing_setup(QomView *view) {
  if (view->option.framerate == 0) view->option.framerate = recorded_framerate(view);
  view->playing.speed = 1;
  view->playing.period = 1000 / view->option.framerate;
  view->playing.period_in_us = 1000000u / view->option.framerate;
  const uint64_t duration = duration_in_us(view);
  const uint64_t frame = view->playing.period_in_us;
  view->number_of_frames = duration / frame + (duration % frame != 0 ? 1 : 0);
  playing_setup_trace(view);
  return true;
}

int play_start(QomView *view) {
  if (view->playing.on) return TCL_OK;
  view->playing.on = true;
  if (view->option.debug) tick_start(view);
  view->playing.time_of_next_frame = time_now();
  time_add_microseconds(&view->playing.time_of_next_frame, step_in_us(view));
  step_schedule(view, static_cast<int>(step_in_us(view) / 1000), playing_prepare);
  trace(view, "-- %s: scheduled 'playing_prepare' with token %p\n", "play_start",
        static_cast<void *>(view->playing.token));
  return TCL_OK;
}

int play_stop(QomView *view) {
  playing_off(view);
  return TCL_OK;
}

int play_status(QomView *view) {
  Tcl_SetObjResult(view->interp, Tcl_NewIntObj(view->playing.on));
  return TCL_OK;
}

void playing_off(QomView *view) {
  Tcl_DeleteTimerHandler(view->playing.token);
  view->playing.token = nullptr;
  view->playing.on = false;
  view->playing.suspended = false;
  if (view->playing.unpainted && view_is_alive(view)) ViewEventuallyRedraw(view);
  view->playing.unpainted = false;
}

void speed_set(QomView *view, double speed) {
  view->playing.speed = speed;
  view->playing.time_of_next_frame = time_now();
  time_add_microseconds(&view->playing.time_of_next_frame, step_in_us(view));
}

void playing_suspend(QomView *view) {
  trace(view, "-- %s: suspending play\n", "playing_suspend");
  playing_off(view);
  view->playing.suspended = true;
}

void playing_prepare(ClientData clientData) noexcept {
  auto *view = static_cast<QomView *>(clientData);
  view->playing.token = nullptr;
  const ViewHold hold(view);
  if (!hold.alive()) return;
  trace(view, "-- %s: preparing next frame...\n", "playing_prepare");
  const int code = go_to_next_frame(view);
  if (code == kMoveReached)
    show_schedule(view);
  else
    playing_exception(view, code);
}

/*
 * The scroll commands and the callback may stop playing, start it anew or let the event
 * loop run steps of it. Where a step is pending afterwards, that one goes on.
 */
void playing_show(ClientData clientData) noexcept {
  auto *view = static_cast<QomView *>(clientData);
  view->playing.token = nullptr;
  const ViewHold hold(view);
  if (!hold.alive()) return;
  trace(view, "-- %s: refreshing view\n", "playing_show");
  frame_paint(view);
  if (!hold.alive()) return;
  notify_timestamp(view);
  if (!hold.alive()) return;
  if (view->playing.on && !view->playing.token) playing_prepare(view);
}

void debug_tick(ClientData clientData) noexcept {
  auto *view = static_cast<QomView *>(clientData);
  view->tick = nullptr;
  if (!view->playing.on) return;
  const Tcl_Time now = time_now();
  char text[64];
  timestamp(now, text, sizeof text);
  trace(view, "\n%s %s...\n\n", text, "debug_tick");
  if (view->next_tick.sec == 0 && view->next_tick.usec == 0) view->next_tick = now;
  time_add_milliseconds(&view->next_tick, kTick);
  view->tick =
      Tcl_CreateTimerHandler(time_difference_in_ms(view->next_tick, now), debug_tick, view);
}

void playing_cancel(QomView *view) {
  playing_off(view);
  tick_cancel(view);
}
