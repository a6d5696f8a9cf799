#include "playback/stepping.h"

#include <algorithm>
#include <cassert>
#include <cstdio>

#include "handles.h"
#include "playback/keyframe.h"
#include "playback/record_process.h"
#include "playback/tcl_time.h"
#include "recording/reader.h"
#include "recording/timeline.h"
#include "trace.h"

namespace {

constexpr int kBudget = 1000;          /* milliseconds of wall time per round */
constexpr size_t kFramesPerCheck = 25; /* frames between looks at the clock */

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

bool record_apply(QomView *view, size_t index) {
  trace_verbose(view, "-- %s: record %zu\n", "consume_records", index);
  const RecordHandle<QomRecord> record(record_at_index(view, index));
  if (!record) {
    fprintf(stderr, "%s: failed to get record at index %zu\n", "consume_records", index);
    return false;
  }
  if (view->option.verbose && view->option.debug) qom_record_dump(record.get());
  if (record_process(view, record.get())) return true;
  const auto type = static_cast<QomRecordType>(record->type);
  fprintf(stderr, "%s: failed to process record of type %s(%d) at index %zu\n", "consume_records",
          qom_record_type_to_string(type), type, index);
  return false;
}

int records_apply(QomView *view, size_t first, size_t last) {
  for (size_t i = first; i < last; ++i) {
    if (record_apply(view, i)) continue;
    if (!view->tolerance.on) return 1;
    ++view->tolerance.passed_over;
    view->tolerance.last_time = view->entries[i].timestamp;
  }
  return 0;
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

}  // namespace

int go_from_to(QomView *view, size_t from, size_t to) {
  assert(from <= to && "always going forward");
  trace(view, "-- %s: from=%zu to=%zu\n", "go_from_to", from, to);
  const Tcl_Time deadline = go_from_to_timeout();
  size_t last = index_of_frame(view, from);
  for (size_t f = from; f < to; ++f) {
    const size_t first = last;
    const size_t empty = f;
    view->current_frame = f = empty_frames_skip(view, f, first, to);
    last = index_of_frame(view, f + 1);
    trace(view, "-- %s: for frame %zu: consuming records %zu to %zu\n", "go_from_to", f, first,
          last);
    if (consume_records(view, first, last) != 0) return kMoveError;
    view->current_frame = f + 1;
    const int code = last_frame_is_reached(view) ? kMoveAtEnd : kMoveReached;
    if (last > 0) cache_update(view, view->entries[last - 1].timestamp);
    if (clock_is_due(empty, f) && go_from_to_timeout_reached(deadline)) {
      trace(view, "%s: timeout\n", "go_from_to");
      return code | kMoveTimeout;
    }
    if (code != kMoveReached) return code;
  }
  return kMoveReached;
}

int go_to_next_frame(QomView *view) {
  if (last_frame_is_reached(view)) return kMoveAtEnd;
  trace(view, "-- %s: current frame is %zu\n", "go_to_next_frame", view->current_frame);
  return go_from_to(view, view->current_frame, view->current_frame + 1);
}

int consume_records(QomView *view, size_t first, size_t last) {
  const struct timespec start = trace_clock();
  last = std::min(last, index_length(view));
  if (records_apply(view, first, last) != 0) return 1;
  trace(view, "-- %s: first %zu last %zu -> duration=%.03fms\n", "consume_records", first, last,
        trace_duration_ms(start, trace_clock()));
  return 0;
}
