#include "playback/stepping.h"

#include <algorithm>
#include <cassert>

#include "playback/keyframe.h"
#include "playback/record_run.h"
#include "playback/tcl_time.h"
#include "recording/timeline.h"
#include "trace.h"

namespace {

constexpr int kBudget = 1000;          /* milliseconds of wall time per round */
constexpr size_t kFramesPerCheck = 25; /* frames between looks at the clock */
constexpr double kLongFrame = 10;      /* milliseconds after which a frame ends a long round */

Tcl_Time go_from_to_timeout() {
  Tcl_Time deadline;
  Tcl_GetTime(&deadline);
  time_add_milliseconds(&deadline, kBudget);
  return deadline;
}

bool go_from_to_timeout_reached(Tcl_Time deadline) {
  Tcl_Time now;
  Tcl_GetTime(&now);
  return time_is_less_than(deadline, now);
}

/*
 * From the frame f, whose next record is `first`, to the frame before `to` or the next one
 * with records. A clock that was set during the recording leaves years of empty frames. The
 * trace has a line for each of them, so that with it nothing is skipped.
 */
size_t empty_frames_skip(const QomView *view, size_t f, size_t first, size_t to) {
  const uint64_t time = view->entries[first].timestamp;
  if (view->option.debug || time <= time_of_frame(view, f)) return f;
  return std::min(frame_at_time(view, time), to - 1);
}

/* True when a multiple of kFramesPerCheck lies among these frames. */
bool clock_is_due(size_t first, size_t last) {
  return last % kFramesPerCheck == 0 || first / kFramesPerCheck != last / kFramesPerCheck;
}

RunResult consume_records(QomView *view, size_t first, size_t last, const Round &round,
                          size_t *next) {
  const struct timespec start = trace_clock();
  *next = first;
  last = std::min(last, index_length(view));
  const RunResult result = records_run(view, first, last, &round, next);
  if (result != RunResult::failed)
    trace(view, "-- %s: first %zu last %zu -> duration=%.03fms\n", "consume_records", first,
          result == RunResult::paused ? *next : last, trace_duration_ms(start, trace_clock()));
  return result;
}

/* The records first <= index < last of the frame current_frame, and the key frame behind them.
   A key frame takes as long as a record. */
RunResult frame_apply(QomView *view, size_t first, size_t last, const Round &round) {
  size_t next = 0;
  const RunResult result = consume_records(view, first, last, round, &next);
  view->progress.next = result == RunResult::paused ? next : 0;
  if (result != RunResult::paused) view->progress.offset = 0;
  if (result != RunResult::done) return result;
  if (last == 0 || qom_screen_save_is_due(view->screen) == 0) return RunResult::done;
  if (first < last && round.is_long()) {
    view->progress.next = last;
    return RunResult::paused;
  }
  cache_update(view, view->entries[last - 1].timestamp);
  return RunResult::done;
}

void frame_count(QomView *view, size_t frame) {
  view->current_frame = frame;
  view->progress.moment = 0;
  view->progress.furthest = std::max(view->progress.furthest, frame);
}

int timeout(const QomView *view, int code) {
  trace(view, "%s: timeout\n", "go_from_to");
  return code | kMoveTimeout;
}

}  // namespace

int go_from_to(QomView *view, size_t from, size_t to) {
  return go_on_from_to(view, from, to, Round());
}

int go_on_from_to(QomView *view, size_t from, size_t to, const Round &round) {
  assert(from <= to && "always going forward");
  trace(view, "-- %s: from=%zu to=%zu\n", "go_from_to", from, to);
  const Tcl_Time deadline = go_from_to_timeout();
  if (from != view->current_frame || view->progress.to_first_image) place_set(view, from, 0);
  size_t last = index_of_frame(view, from);
  for (size_t f = from; f < to; ++f) {
    const bool resumed = is_within_frame(view);
    const size_t first = resumed ? view->progress.next : last;
    const size_t empty = f;
    if (!resumed) f = empty_frames_skip(view, f, first, to);
    view->current_frame = f;
    /* Behind a moment at the very end more may be applied than the last frame has. */
    last = std::max(first, index_of_frame(view, f + 1));
    trace(view, "-- %s: for frame %zu: consuming records %zu to %zu\n", "go_from_to", f, first,
          last);
    const double before = round.milliseconds();
    const RunResult result = frame_apply(view, first, last, round);
    if (result == RunResult::failed) return kMoveError;
    if (result == RunResult::paused) return timeout(view, kMoveReached);
    frame_count(view, f + 1);
    const int code = last_frame_is_reached(view) ? kMoveAtEnd : kMoveReached;
    if (clock_is_due(empty, f) && go_from_to_timeout_reached(deadline)) return timeout(view, code);
    if (code != kMoveReached) return code;
    if (f + 1 < to && round.is_long() && round.milliseconds() - before > kLongFrame)
      return timeout(view, code);
  }
  return kMoveReached;
}

int go_to_first_image(QomView *view, const Round &round) {
  view->progress.to_first_image = true;
  const size_t last = view->index_of_first_frame + 1;
  const RunResult result = frame_apply(view, next_record(view), last, round);
  if (result == RunResult::paused) return timeout(view, kMoveReached);
  place_set(view, 0, 0);
  return result == RunResult::failed ? kMoveError : kMoveReached;
}

int go_on_to_moment(QomView *view, uint64_t time) {
  const Round round;
  const size_t frame = view->current_frame;
  const size_t first = next_record(view);
  const size_t last = qom_screen_place_of_time(view->screen, time);
  if (first < last) {
    size_t next = 0;
    const RunResult result = consume_records(view, first, last, round, &next);
    if (result == RunResult::failed) return kMoveError;
    if (result == RunResult::paused) {
      view->progress.next = next;
      return timeout(view, kMoveReached);
    }
    place_set(view, frame, last);
  }
  view->progress.moment = time;
  return kMoveReached;
}

bool is_within_frame(const QomView *view) {
  return view->progress.next != 0 || view->progress.offset != 0;
}

size_t next_record(const QomView *view) {
  return is_within_frame(view) ? view->progress.next : index_of_frame(view, view->current_frame);
}

void place_set(QomView *view, size_t frame, size_t next) {
  view->current_frame = frame;
  view->progress.next = next;
  view->progress.offset = 0;
  view->progress.moment = 0;
  view->progress.to_first_image = false;
}

int go_to_next_frame(QomView *view) {
  if (last_frame_is_reached(view)) return kMoveAtEnd;
  trace(view, "-- %s: current frame is %zu\n", "go_to_next_frame", view->current_frame);
  return go_from_to(view, view->current_frame, view->current_frame + 1);
}
