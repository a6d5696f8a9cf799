#include "playback/known_state.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "display/cursor.h"
#include "display/pipeline.h"
#include "handles.h"
#include "playback/footer.h"
#include "playback/keyframe.h"
#include "playback/screen_change.h"
#include "playback/stepping.h"
#include "recording/timeline.h"
#include "trace.h"

namespace {

/* A run of records, first <= index < end, that restates the whole state. */
struct Checkpoint {
  size_t first;
  size_t end;
};

/* A move as it goes without checkpoints. */
struct Replay {
  bool backward;
  KeyFrame *key_frame; /* to be restored first; none: not */
  size_t start;        /* first record to apply */
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

bool has_first_image(const QomView *view) {
  const uint8_t type = view->entries[view->index_of_first_frame].type;
  return type == QOM_COMPRESSED_IMAGE || type == QOM_COMPRESSED_IMAGE_BLOCKS;
}

/* -- key frames -- */

/* Where the replay goes on after a key frame. Times of single records may lie before the
   first frame where the recording's clock went back. */
size_t frame_of_key_frame(const QomView *view, const KeyFrame *key_frame) {
  return key_frame->timestamp <= time_of_first_frame(view)
             ? 0
             : frame_at_time(view, key_frame->timestamp);
}

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

bool start_from_key_frame(QomView *view, KeyFrame *key_frame) {
  if (!cache_state_restore(view, key_frame)) return false;
  trace(view, "-- %s: restored frame from cache\n", "go_to_frame");
  view->current_frame = frame_of_key_frame(view, key_frame);
  return true;
}

/* -- the start of the recording -- */

bool size_reset(QomView *view) {
  const QomHeader *header = view->header;
  if (view->width == header->width && view->height == header->height) return true;
  return screen_change_process(view, header->width, header->height) == 0;
}

/* The first step starts at record 0, so that only frame 0 needs the first image itself. */
bool start_from_beginning(QomView *view, size_t to) {
  if (!size_reset(view)) return false;
  picture_blank(view);
  char *const none[FOOTER_ITEMS_COUNT] = {};
  footer_items_become(view, none);
  view->current_frame = 0;
  return to > 0 || !has_first_image(view) ||
         consume_records(view, 0, view->index_of_first_frame + 1) == 0;
}

/* -- checkpoints -- */

/* What a checkpoint has to hold at least; files may claim anything. */
bool checkpoint_is_whole(const QomView *view, Checkpoint checkpoint) {
  const QomIndexEntry *first = view->entries + checkpoint.first;
  const QomIndexEntry *end = view->entries + checkpoint.end;
  const QomIndexEntry *screen = std::find_if(
      first, end, [](const QomIndexEntry &entry) { return entry.type == QOM_SCREEN_CHANGE; });
  return std::any_of(screen, end,
                     [](const QomIndexEntry &entry) { return entry.type == QOM_COMPRESSED_IMAGE; });
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

/* The footer texts of a view, taken out for a while. */
class FooterAside {
 public:
  explicit FooterAside(QomView *view) : view_(view) {
    std::swap(view->footer_items, items_);
    std::swap(view->footer_item_changed, changed_);
  }
  /* Puts them back and lets them become what the view has now. */
  ~FooterAside() {
    std::swap(view_->footer_items, items_);
    std::swap(view_->footer_item_changed, changed_);
    footer_items_become(view_, items_);
    footer_items_release(items_);
  }
  FooterAside(const FooterAside &) = delete;
  FooterAside &operator=(const FooterAside &) = delete;

 private:
  QomView *view_;
  char *items_[FOOTER_ITEMS_COUNT] = {};
  bool changed_[FOOTER_ITEMS_COUNT] = {};
};

bool checkpoint_apply(QomView *view, Checkpoint checkpoint) {
  trace(view, "-- %s: starting at checkpoint of records %zu to %zu\n", "go_to_frame",
        checkpoint.first, checkpoint.end);
  picture_blank(view);
  if (consume_records(view, checkpoint.first, checkpoint.end) != 0) return false;
  ximage_region_touch(view);
  return true;
}

/* The texts become those of the checkpoint. */
bool checkpoint_apply_backward(QomView *view, Checkpoint checkpoint) {
  const FooterAside aside(view);
  return checkpoint_apply(view, checkpoint);
}

/* The texts follow the records passed over. */
bool checkpoint_apply_forward(QomView *view, Checkpoint checkpoint, const Replay &replay) {
  if (replay.key_frame) cache_state_restore_footer(view, replay.key_frame);
  footer_items_follow(view, replay.start, checkpoint.first);
  return checkpoint_apply(view, checkpoint);
}

bool start_from_checkpoint(QomView *view, Checkpoint checkpoint, const Replay &replay, size_t to) {
  const bool applied = replay.backward ? checkpoint_apply_backward(view, checkpoint)
                                       : checkpoint_apply_forward(view, checkpoint, replay);
  if (!applied) return false;
  const size_t frame = frame_from_index(view, checkpoint.end, to);
  if (consume_records(view, checkpoint.end, index_of_frame(view, frame)) != 0) return false;
  view->current_frame = frame;
  return true;
}

/* How the move would go without checkpoints, and what it takes if that is the way. */
Replay replay_without_checkpoints(const QomView *view, KeyFrame *key_frame, size_t to) {
  const size_t from = view->current_frame;
  const bool backward = from > to;
  const bool restores = key_frame_serves(view, key_frame, to) &&
                        (backward || time_of_frame(view, from) < key_frame->timestamp);
  if (restores) {
    const size_t frame = frame_of_key_frame(view, key_frame);
    return {backward, key_frame, index_of_frame(view, frame)};
  }
  return {backward, nullptr, backward ? 0 : index_of_frame(view, from)};
}

bool start_anew(QomView *view, KeyFrame *key_frame, size_t to) {
  if (key_frame_serves(view, key_frame, to)) return start_from_key_frame(view, key_frame);
  return start_from_beginning(view, to);
}

}  // namespace

bool start_from_known_state(QomView *view, size_t to) {
  KeyFrame *key_frame = key_frame_for(view, to);
  trace(view, "-- %s: kf=%p\n", "go_to_frame", static_cast<void *>(key_frame));
  const Replay replay = replay_without_checkpoints(view, key_frame, to);
  Checkpoint checkpoint{};
  if (checkpoint_between(view, replay.start, to, &checkpoint)) {
    /* One that cannot be applied has cost the current state. */
    return start_from_checkpoint(view, checkpoint, replay, to) || start_anew(view, key_frame, to);
  }
  if (!replay.backward && !replay.key_frame) return true;
  return start_anew(view, key_frame, to);
}
