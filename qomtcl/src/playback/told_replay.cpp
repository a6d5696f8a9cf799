#include "playback/told_replay.h"

#include <algorithm>
#include <cstdlib>

#include "playback/footer.h"
#include "playback/keyframe.h"
#include "playback/stepping.h"
#include "recording/timeline.h"

namespace {

/* The next key frame that replaying saves after one of the time `then`; 0: none that the view
   has come past. */
uint64_t key_frame_time_after(const QomView *view, uint64_t then) {
  const size_t index = qom_index_at_time(view->reader, then + kKeyFrameSpacing);
  const uint64_t due = view->entries[index].timestamp;
  if (due < then + kKeyFrameSpacing) return 0;
  const size_t frame = frame_of_key_frame(view, due);
  const size_t last = index_of_frame(view, frame + 1);
  if (frame >= view->progress.furthest || last <= index) return 0;
  return view->entries[last - 1].timestamp;
}

/* Without memory the times are not kept, and found anew by each move. */
bool told_time_keep(keyframe_cache *cache, uint64_t time) {
  if (cache->told_size == cache->told_capacity) {
    const size_t capacity = std::max<size_t>(64, cache->told_capacity * 2);
    auto *times = static_cast<uint64_t *>(realloc(cache->told_times, capacity * sizeof(uint64_t)));
    if (!times) return false;
    cache->told_times = times;
    cache->told_capacity = capacity;
  }
  cache->told_times[cache->told_size++] = time;
  return true;
}

/* The last key frame up to a time; the first one when all are after it. There is one. */
uint64_t key_frame_time_up_to(QomView *view, uint64_t time) {
  keyframe_cache *cache = &view->cache;
  bool kept = cache->told_size > 0 || told_time_keep(cache, cache->first_time);
  const uint64_t *end = cache->told_times + cache->told_size;
  const uint64_t *first = cache->told_times;
  const uint64_t *after = std::upper_bound(first, end, time);
  if (after != end) return after == first ? *after : after[-1];
  uint64_t found = cache->told_size > 0 ? end[-1] : cache->first_time;
  for (uint64_t next = key_frame_time_after(view, found); next != 0 && next <= time;
       next = key_frame_time_after(view, next)) {
    kept = kept && told_time_keep(cache, next);
    found = next;
  }
  return found;
}

/* As known_state chooses among the key frames that are in memory. */
uint64_t key_frame_time_for(QomView *view, size_t to) {
  const uint64_t time = time_of_frame(view, to);
  const uint64_t found = key_frame_time_up_to(view, time);
  return to > 0 && found == time ? key_frame_time_up_to(view, time - 1) : found;
}

/* The texts of the first key frame are those of the creation, where not every record counts. */
void texts_of_key_frame(QomView *view, uint64_t time) {
  if (time == view->cache.first_time) return footer_items_become(view, view->cache.first_texts);
  footer_items_look_up(view, index_of_frame(view, frame_of_key_frame(view, time) + 1));
}

}  // namespace

ToldReplay told_replay(QomView *view, size_t to) {
  const bool backward = is_beyond(view, to) || view->progress.texts > index_of_frame(view, to);
  const bool may_restore = view->cache.has_first && (to > 0 || has_first_image(view));
  const uint64_t time = may_restore ? key_frame_time_for(view, to) : 0;
  const size_t frame = may_restore ? frame_of_key_frame(view, time) : 0;
  const bool restores = may_restore && time <= time_of_frame(view, to) &&
                        (backward || key_frame_is_ahead(view, time));
  if (restores) return {ToldStart::key_frame, time, index_of_frame(view, frame)};
  if (backward) return {ToldStart::beginning, 0, 0};
  return {ToldStart::here, 0, std::max(next_record(view), view->progress.texts)};
}

void told_replay_follow(QomView *view, const ToldReplay &told, size_t index) {
  static const char *const none[FOOTER_ITEMS_COUNT] = {};
  if (told.from == ToldStart::key_frame) texts_of_key_frame(view, told.time);
  if (told.from == ToldStart::beginning) footer_items_become(view, none);
  footer_items_follow(view, told.start, std::max(told.start, index));
  view->progress.texts = std::max(told.start, index);
}

bool is_beyond(const QomView *view, size_t to) {
  return view->current_frame > to || (view->current_frame == to && is_within_frame(view));
}

bool key_frame_is_ahead(const QomView *view, uint64_t time) {
  /* Within a frame, the key frame at its end is no longer worth it; and a round that began with
     it must not begin with it again. */
  if (is_within_frame(view)) return frame_of_key_frame(view, time) > view->current_frame;
  return time_of_frame(view, view->current_frame) < time;
}

size_t frame_of_key_frame(const QomView *view, uint64_t time) {
  return time <= time_of_first_frame(view) ? 0 : frame_at_time(view, time);
}

bool has_first_image(const QomView *view) {
  const uint8_t type = view->entries[view->index_of_first_frame].type;
  return type == QOM_COMPRESSED_IMAGE || type == QOM_COMPRESSED_IMAGE_BLOCKS;
}
