#include "playback/known_state.h"

#include <algorithm>
#include <cstring>

#include "display/cursor.h"
#include "display/pipeline.h"
#include "playback/footer.h"
#include "playback/keyframe.h"
#include "playback/screen_change.h"
#include "playback/stepping.h"
#include "playback/told_replay.h"
#include "recording/timeline.h"
#include "trace.h"

namespace {

constexpr size_t kLongestCheckpoint = 64; /* records */

bool is_picture(uint8_t type) {
  return type == QOM_IMAGE || type == QOM_COMPRESSED_IMAGE || type == QOM_COMPRESSED_IMAGE_BLOCKS;
}

/* A run of records, first <= index < end, that restates the whole state. */
struct Checkpoint {
  size_t first;
  size_t end;
};

/* Where the picture of a move starts unless a checkpoint serves better. */
struct Start {
  bool is_here;        /* where the view is */
  KeyFrame *key_frame; /* none: at the beginning of the recording, if not here */
  size_t index;        /* first record to apply */
};

/* The frame image black, no cursor; what the display has to repaint stays known. */
void picture_blank(QomView *view) {
  const XRectangle painted = view->cursor.position.current;
  cursor_teardown(view);
  view->cursor.position.previous = painted;
  memset(view->ximage->data, 0,
         static_cast<size_t>(view->ximage->bytes_per_line) * view->ximage->height);
  ximage_region_touch(view);
  ViewEventuallyRedraw(view);
}

/* -- key frames -- */

/*
 * The last key frame that holds nothing beyond the frame `to`. One whose last record has
 * exactly that frame's time is beyond it, since records of that time belong to the next
 * step; at frame 0 it is the first full image itself, if there is one.
 */
KeyFrame *key_frame_for(QomView *view, size_t to) {
  const uint64_t time = time_of_frame(view, to);
  KeyFrame *key_frame = cache_find_closest_keyframe(view, time);
  if (key_frame && to > 0 && key_frame->timestamp == time)
    key_frame = cache_find_closest_keyframe(view, time - 1);
  return key_frame;
}

bool key_frame_serves(const QomView *view, const KeyFrame *key_frame, size_t to) {
  if (!key_frame || (to == 0 && !has_first_image(view))) return false;
  return key_frame->timestamp <= time_of_frame(view, to);
}

bool picture_from_key_frame(QomView *view, KeyFrame *key_frame) {
  if (!cache_picture_restore(view, key_frame)) return false;
  trace(view, "-- %s: restored frame from cache\n", "go_to_frame");
  place_set(view, frame_of_key_frame(view, key_frame->timestamp), 0);
  return true;
}

/* -- the start of the recording -- */

bool size_reset(QomView *view) {
  const QomHeader *header = view->header;
  if (view->width == header->width && view->height == header->height) return true;
  return screen_change_process(view, header->width, header->height) == 0;
}

bool picture_from_beginning(QomView *view) {
  if (!size_reset(view)) return false;
  picture_blank(view);
  place_set(view, 0, 0);
  return true;
}

/* -- checkpoints -- */

/*
 * What a checkpoint has to hold; files may claim anything. It is applied without a pause, so
 * that it must not be more than the statement of one state.
 */
bool checkpoint_is_whole(const QomView *view, Checkpoint checkpoint) {
  if (checkpoint.end - checkpoint.first > kLongestCheckpoint) return false;
  int screens = 0;
  int pictures = 0;
  for (size_t i = checkpoint.first; i < checkpoint.end; ++i) {
    const uint8_t type = view->entries[i].type;
    if (type == QOM_SCREEN_CHANGE && pictures == 0) ++screens;
    if (is_picture(type) && (type != QOM_COMPRESSED_IMAGE || screens != 1)) return false;
    pictures += is_picture(type);
  }
  return screens == 1 && pictures == 1;
}

/* Bytes in the file tell the work well enough: a checkpoint has to save more than it costs. */
bool checkpoint_pays(const QomView *view, size_t start, Checkpoint checkpoint) {
  const int64_t first = view->entries[checkpoint.first].position;
  return first - view->entries[start].position > view->entries[checkpoint.end].position - first;
}

/* The last usable checkpoint that begins after the record `start`, from which the move
   would start otherwise, and has ended when the frame `to` begins. */
bool checkpoint_between(const QomView *view, size_t start, size_t to, Checkpoint *checkpoint) {
  const size_t target = index_of_frame(view, to);
  size_t at = target;
  while (qom_checkpoint_before(view->reader, at, &checkpoint->first, &checkpoint->end) == 1) {
    if (checkpoint->first <= start || checkpoint->first > at) return false;
    if (checkpoint->end <= target && checkpoint_is_whole(view, *checkpoint))
      return checkpoint_pays(view, start, *checkpoint);
    at = checkpoint->first - 1;
  }
  return false;
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

bool checkpoint_apply(QomView *view, Checkpoint checkpoint) {
  trace(view, "-- %s: starting at checkpoint of records %zu to %zu\n", "go_to_frame",
        checkpoint.first, checkpoint.end);
  picture_blank(view);
  if (consume_records(view, checkpoint.first, checkpoint.end) != 0) return false;
  ximage_region_touch(view);
  return true;
}

/* The records between the checkpoint and the next frame are the rest of a frame. */
bool start_from_checkpoint(QomView *view, Checkpoint checkpoint, const ToldReplay &told,
                           size_t to) {
  told_replay_follow(view, told, checkpoint.first);
  place_set(view, frame_from_index(view, checkpoint.end, to) - 1, checkpoint.end);
  return checkpoint_apply(view, checkpoint);
}

/* -- all of them -- */

Start start_without_checkpoints(const QomView *view, KeyFrame *key_frame, size_t to) {
  const bool backward = is_beyond(view, to);
  const bool serves = key_frame_serves(view, key_frame, to);
  if (serves && (backward || key_frame_is_ahead(view, key_frame->timestamp)))
    return {false, key_frame, index_of_frame(view, frame_of_key_frame(view, key_frame->timestamp))};
  return {!backward, nullptr, backward ? 0 : next_record(view)};
}

/* The texts come last: they must not be where the picture could not be brought to. */
bool start_anew(QomView *view, const Start &start, const ToldReplay &told, size_t to) {
  if (start.key_frame ? !picture_from_key_frame(view, start.key_frame)
                      : !picture_from_beginning(view))
    return false;
  told_replay_follow(view, told, start.index);
  /* The first step starts at record 0, so that only frame 0 needs the first image itself. */
  view->progress.to_first_image = !start.key_frame && to == 0 && has_first_image(view);
  return true;
}

/* After a checkpoint that could not be applied, which has cost the current state: the texts with
   the picture. */
bool start_anew_after_failure(QomView *view, KeyFrame *key_frame, size_t to) {
  const bool serves = key_frame_serves(view, key_frame, to);
  const uint64_t time = serves ? key_frame->timestamp : 0;
  const size_t index = serves ? index_of_frame(view, frame_of_key_frame(view, time)) : 0;
  return start_anew(view, {false, serves ? key_frame : nullptr, index},
                    {serves ? ToldStart::key_frame : ToldStart::beginning, time, index}, to);
}

}  // namespace

bool start_from_known_state(QomView *view, size_t to) {
  KeyFrame *key_frame = key_frame_for(view, to);
  trace(view, "-- %s: kf=%p\n", "go_to_frame", static_cast<void *>(key_frame));
  const ToldReplay told = told_replay(view, to);
  const Start start = start_without_checkpoints(view, key_frame, to);
  Checkpoint checkpoint{};
  if (checkpoint_between(view, start.index, to, &checkpoint))
    return start_from_checkpoint(view, checkpoint, told, to) ||
           start_anew_after_failure(view, key_frame, to);
  if (!start.is_here) return start_anew(view, start, told, to);
  if (told.from != ToldStart::here) told_replay_follow(view, told, start.index);
  return true;
}
