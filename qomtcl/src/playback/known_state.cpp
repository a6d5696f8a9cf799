#include "playback/known_state.h"

#include <utility>

#include "display/redraw.h"
#include "playback/screen_follow.h"
#include "playback/stepping.h"
#include "playback/told_replay.h"
#include "recording/timeline.h"
#include "trace.h"

namespace {

/* The records that are applied when a frame is reached; frame 0 is shown with the first full image,
   if there is one. */
size_t place_of_frame(const QomView *view, size_t frame) {
  if (frame == 0 && has_first_image(view)) return view->index_of_first_frame + 1;
  return index_of_frame(view, frame);
}

/* The first frame that begins at or after a record; one not after `to` must. */
size_t frame_from_index(const QomView *view, size_t index, size_t to) {
  size_t low = 0;
  size_t high = to;
  while (low < high) {
    const size_t middle = low + (high - low) / 2;
    if (index_of_frame(view, middle) >= index)
      high = middle;
    else
      low = middle + 1;
  }
  return low;
}

void start_trace(const QomView *view, const QomScreenStart &start) {
  const bool restored = start.kind == QOM_START_SNAPSHOT;
  trace(view, "-- %s: kf=%p\n", "go_to_frame",
        restored ? static_cast<void *>(view->screen) : nullptr);
  if (restored) trace(view, "-- %s: restored frame from cache\n", "go_to_frame");
  if (start.kind == QOM_START_CHECKPOINT)
    trace(view, "-- %s: started at checkpoint of records %zu to %zu\n", "go_to_frame", start.first,
          start.end);
}

/* The texts do not follow the screen here: what a script hears of them does not depend on where
   the picture starts. */
RunResult screen_start(QomView *view, size_t to, const Round *round, QomScreenStart *start) {
  const size_t texts = std::exchange(view->progress.texts, SIZE_MAX);
  view->round = round;
  const QomScreenResult result = qom_screen_start(view->screen, place_of_frame(view, to), start);
  view->round = nullptr;
  view->progress.texts = texts;
  if (result == QOM_SCREEN_PAUSED) return RunResult::paused;
  if (start->kind != QOM_START_HERE) {
    view->cursor.changed = true;
    ViewEventuallyRedraw(view);
  }
  const bool reached = screen_follow(view) && result == QOM_SCREEN_REACHED;
  return reached ? RunResult::done : RunResult::failed;
}

/* Frames without records are passed by both ways without one. */
void here_start(QomView *view, const ToldReplay &told, size_t to) {
  if (is_beyond(view, to)) place_set(view, to, 0);
  if (told.from != ToldStart::here) told_replay_follow(view, told, qom_screen_place(view->screen));
}

/* The frame that a key frame lies in counts as not passed. */
void snapshot_start(QomView *view, const QomScreenStart &start, const ToldReplay &told) {
  place_set(view, frame_of_key_frame(view, start.time), 0);
  told_replay_follow(view, told, qom_screen_place(view->screen));
}

/* The records between a checkpoint and the next frame are the rest of a frame. */
void checkpoint_start(QomView *view, const QomScreenStart &start, const ToldReplay &told,
                      size_t to) {
  told_replay_follow(view, told, start.end);
  place_set(view, frame_from_index(view, start.end, to) - 1, start.end);
}

/* The first step starts at record 0, so that only frame 0 needs the first image itself. */
void beginning_start(QomView *view, const ToldReplay &told, size_t to) {
  place_set(view, 0, 0);
  told_replay_follow(view, told, 0);
  view->progress.to_first_image = to == 0 && has_first_image(view);
}

}  // namespace

RunResult start_from_known_state(QomView *view, size_t to, const Round *round) {
  const ToldReplay told = told_replay(view, to);
  QomScreenStart start = {};
  const RunResult result = screen_start(view, to, round, &start);
  if (result != RunResult::done) return result;
  start_trace(view, start);
  switch (start.kind) {
    case QOM_START_HERE:
      here_start(view, told, to);
      break;
    case QOM_START_SNAPSHOT:
      snapshot_start(view, start, told);
      break;
    case QOM_START_CHECKPOINT:
      checkpoint_start(view, start, told, to);
      break;
    case QOM_START_BEGINNING:
      beginning_start(view, told, to);
      break;
  }
  return result;
}
