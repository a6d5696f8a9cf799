#include "playback/keyframe.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "display/damage.h"
#include "display/pipeline.h"
#include "display/ximage.h"
#include "handles.h"
#include "playback/footer.h"
#include "playback/packed_picture.h"
#include "playback/screen_change.h"
#include "trace.h"

namespace {

constexpr size_t kInitialCapacity = 128;
constexpr uint64_t kSpacing = 20000000; /* microseconds of recording time */

PictureRows rows_of(const XImage *image) {
  return {reinterpret_cast<uint8_t *>(image->data), image->width, image->height,
          static_cast<size_t>(image->bytes_per_line), image->bits_per_pixel / 8};
}

bool cache_is_due(const keyframe_cache &cache, uint64_t now) {
  if (cache.size == 0) return true;
  const uint64_t then = cache.frames[cache.size - 1].timestamp;
  return now > then && now - then >= kSpacing;
}

bool cache_is_full(const keyframe_cache &cache) {
  return cache.size >= cache.capacity;
}

bool cache_grow(keyframe_cache *cache) {
  const size_t capacity = cache->capacity * 2;
  auto *frames = static_cast<KeyFrame *>(realloc(cache->frames, capacity * sizeof(KeyFrame)));
  if (!frames) {
    fprintf(stderr, "%s: failed to realloc frames cache\n", "cache_grow");
    return false;
  }
  memset(static_cast<void *>(frames + cache->size), 0, (capacity - cache->size) * sizeof(KeyFrame));
  cache->frames = frames;
  cache->capacity = capacity;
  return true;
}

void key_frame_release(KeyFrame *frame) {
  qom_record_free(frame->cursor.record);
  picture_release(frame->picture);
  footer_items_release(frame->footer_items);
  *frame = {};
}

/* The picture of the latest key frame is also kept plain: the next one shares the tiles that
   are equal. Without memory for it the next one is packed whole. */
void latest_keep(keyframe_cache *cache, const XImage *image) {
  XImage *latest = cache->latest;
  if (latest && latest->height == image->height &&
      latest->bytes_per_line == image->bytes_per_line && latest->width == image->width) {
    memcpy(latest->data, image->data,
           static_cast<size_t>(image->bytes_per_line) * static_cast<size_t>(image->height));
    return;
  }
  if (latest) XDestroyImage(latest);
  cache->latest = ximage_duplicate(image);
}

PackedPicture *picture_of_view(const QomView *view) {
  const keyframe_cache &cache = view->cache;
  const PictureRows rows = rows_of(view->ximage);
  if (cache.size == 0 || !cache.latest) return picture_pack(rows, nullptr, nullptr);
  const PictureRows latest = rows_of(cache.latest);
  return picture_pack(rows, cache.frames[cache.size - 1].picture, &latest);
}

/* Fills a zeroed key frame; what it got before a failure is the caller's to release. */
bool key_frame_fill(const QomView *view, uint64_t timestamp, KeyFrame *frame) {
  frame->timestamp = timestamp;
  frame->width = view->width;
  frame->height = view->height;
  frame->picture = picture_of_view(view);
  if (!frame->picture) {
    fprintf(stderr, "%s: failed to duplicate ximage for key frame\n", "cache_state_save");
    return false;
  }
  if (view->cursor.record) {
    frame->cursor.record = reinterpret_cast<QomCursorImage *>(qom_record_dup(view->cursor.record));
    if (!frame->cursor.record) {
      fprintf(stderr, "%s: failed to duplicate cursor record\n", "cache_state_save");
      return false;
    }
  }
  frame->cursor.position = view->cursor.position.current;
  frame->cursor.corner = view->cursor.corner;
  return footer_items_duplicate(view->footer_items, frame->footer_items);
}

/* A key frame is only ever due after the latest one, so appending keeps them sorted. */
bool cache_state_save(QomView *view, uint64_t timestamp) {
  keyframe_cache *cache = &view->cache;
  if (cache_is_full(*cache) && !cache_grow(cache)) return false;
  KeyFrame *frame = &cache->frames[cache->size];
  if (!key_frame_fill(view, timestamp, frame)) {
    key_frame_release(frame);
    return false;
  }
  cache->size += 1;
  latest_keep(cache, view->ximage);
  trace(view, "-- %s: cache size=%zu\n", "cache_state_save", cache->size);
  return true;
}

/* The cursor of a view, to be put back when a restore fails. */
struct CursorState {
  QomCursorImage *record;
  XRectangle current;
  cursor_corner corner;
};

CursorState cursor_take(QomView *view) {
  return {std::exchange(view->cursor.record, nullptr), view->cursor.position.current,
          view->cursor.corner};
}

void cursor_put(QomView *view, const CursorState &state) {
  view->cursor.record = state.record;
  view->cursor.position.current = state.current;
  view->cursor.corner = state.corner;
}

bool size_restore(QomView *view, const KeyFrame *key_frame) {
  if (key_frame->width == view->width && key_frame->height == view->height) return true;
  return screen_change_process(view, key_frame->width, key_frame->height) == 0;
}

}  // namespace

bool cache_setup(QomView *view) {
  view->cache = {};
  view->cache.frames = static_cast<KeyFrame *>(calloc(kInitialCapacity, sizeof(KeyFrame)));
  if (!view->cache.frames) {
    fprintf(stderr, "%s: failed to setup keyframe cache\n", "cache_setup");
    return false;
  }
  view->cache.capacity = kInitialCapacity;
  return true;
}

void cache_teardown(QomView *view) {
  keyframe_cache *cache = &view->cache;
  for (size_t i = 0; i < cache->size; ++i) key_frame_release(&cache->frames[i]);
  free(cache->frames);
  if (cache->latest) XDestroyImage(cache->latest);
  *cache = {};
}

void cache_update(QomView *view, uint64_t time) {
  if (!view->ximage || !cache_is_due(view->cache, time)) return;
  if (!cache_state_save(view, time))
    fprintf(stderr, "%s: failed to cache state at time=%lu\n", "cache_update",
            static_cast<unsigned long>(time));
}

KeyFrame *cache_find_closest_keyframe(QomView *view, uint64_t timestamp) {
  const keyframe_cache &cache = view->cache;
  if (cache.size == 0) return nullptr;
  size_t left = 0;
  size_t right = cache.size;
  while (right - left > 1) {
    const size_t middle = left + (right - left) / 2;
    (timestamp < cache.frames[middle].timestamp ? right : left) = middle;
  }
  return &cache.frames[left];
}

bool cache_state_restore(QomView *view, KeyFrame *key_frame) {
  QomCursorImage *copy = nullptr;
  if (key_frame->cursor.record) {
    copy = reinterpret_cast<QomCursorImage *>(qom_record_dup(key_frame->cursor.record));
    if (!copy) {
      fprintf(stderr, "%s: pym_record_dup failed on keyframe cursor\n", "cache_state_restore");
      return false;
    }
  }
  const CursorState before = cursor_take(view);
  cursor_put(view, {copy, key_frame->cursor.position, key_frame->cursor.corner});
  if (!size_restore(view, key_frame)) {
    qom_record_free(copy);
    cursor_put(view, before);
    return false;
  }
  view->cursor.position.previous = before.current;
  qom_record_free(before.record);
  if (!picture_unpack(key_frame->picture, rows_of(view->ximage))) return false;
  ximage_region_touch(view);
  ViewEventuallyRedraw(view);
  cache_state_restore_footer(view, key_frame);
  return true;
}

void ximage_region_touch(QomView *view) {
  region_clear(view->ximage_region);
  updates_want_all(view);
}
