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
#include "pixels/packed_picture.h"
#include "playback/screen_change.h"
#include "base/shared_bytes.h"
#include "trace.h"

using namespace qom;

namespace {

constexpr size_t kInitialCapacity = 128;

/* Bytes; a larger picture is packed whole each time instead of being kept plain as well. */
constexpr size_t kLargestLatest = size_t{64} << 20;

PictureRows rows_of(const XImage *image) {
  return {reinterpret_cast<uint8_t *>(image->data), image->width, image->height,
          static_cast<size_t>(image->bytes_per_line), image->bits_per_pixel / 8};
}

size_t bytes_of(const XImage *image) {
  return image ? static_cast<size_t>(image->bytes_per_line) * static_cast<size_t>(image->height)
               : 0;
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

/* Returns the bytes that became free. */
size_t key_frame_release(KeyFrame *frame) {
  size_t freed = picture_release(frame->picture) + shared_bytes_release(frame->cursor.pixels) +
                 footer_items_unshare(frame->footer_items);
  *frame = {};
  return freed;
}

/* What a key frame takes that it does not share with the one before it. */
size_t key_frame_own_bytes(const KeyFrame &frame) {
  size_t bytes = picture_own_bytes(frame.picture) + shared_bytes_own(frame.cursor.pixels);
  for (const SharedBytes *text : frame.footer_items) bytes += shared_bytes_own(text);
  return bytes;
}

void latest_drop(keyframe_cache *cache) {
  if (cache->latest) XDestroyImage(cache->latest);
  cache->latest = nullptr;
}

/* The picture of the latest key frame is also kept plain: the next one shares the tiles that
   are equal. Without memory for it the next one is packed whole. */
void latest_keep(keyframe_cache *cache, const XImage *image) {
  XImage *latest = cache->latest;
  if (latest && latest->height == image->height &&
      latest->bytes_per_line == image->bytes_per_line && latest->width == image->width) {
    memcpy(latest->data, image->data, bytes_of(image));
    return;
  }
  latest_drop(cache);
  if (bytes_of(image) <= kLargestLatest) cache->latest = ximage_duplicate(image);
}

/* The first one stays, whatever it takes: it is the one that every place can be reached from. */
void cache_thin(keyframe_cache *cache) {
  const auto is_too_large = [cache] {
    return cache->size > 1 && cache->bytes + bytes_of(cache->latest) > cache->ceiling;
  };
  while (is_too_large()) {
    if (cache->size % 2 == 0) latest_drop(cache); /* its key frame goes */
    size_t kept = 0;
    for (size_t i = 0; i < cache->size; ++i) {
      if (i % 2 == 1)
        cache->bytes -= key_frame_release(&cache->frames[i]);
      else
        std::swap(cache->frames[kept++], cache->frames[i]);
    }
    cache->size = kept;
    cache->spacing *= 2;
  }
}

PackedPicture *picture_of_view(const QomView *view) {
  const keyframe_cache &cache = view->cache;
  const PictureRows rows = rows_of(view->ximage);
  if (cache.size == 0 || !cache.latest) return picture_pack(rows, nullptr, nullptr);
  const PictureRows latest = rows_of(cache.latest);
  return picture_pack(rows, cache.frames[cache.size - 1].picture, &latest);
}

bool cursor_save(const QomView *view, const KeyFrame &latest, cursor_state *cursor) {
  cursor->position = view->cursor.position.current;
  cursor->corner = view->cursor.corner;
  const QomCursorImage *record = view->cursor.record;
  if (!record) return true;
  cursor->record = *record;
  cursor->record.data = nullptr;
  cursor->pixels = shared_bytes_hold(record->data, record->length, latest.cursor.pixels);
  return cursor->pixels != nullptr;
}

/* A record as the library makes them. */
QomCursorImage *cursor_record_of(const cursor_state &cursor) {
  QomCursorImage record = cursor.record;
  record.data = reinterpret_cast<uint8_t *>(const_cast<char *>(cursor.pixels->data()));
  return reinterpret_cast<QomCursorImage *>(qom_record_dup(&record));
}

/* Fills a zeroed key frame; what it got before a failure is the caller's to release. */
bool key_frame_fill(const QomView *view, uint64_t timestamp, KeyFrame *frame) {
  const keyframe_cache &cache = view->cache;
  const KeyFrame latest = cache.size > 0 ? cache.frames[cache.size - 1] : KeyFrame{};
  frame->timestamp = timestamp;
  frame->width = view->width;
  frame->height = view->height;
  frame->picture = picture_of_view(view);
  if (!frame->picture) {
    fprintf(stderr, "%s: failed to duplicate ximage for key frame\n", "cache_state_save");
    return false;
  }
  if (!cursor_save(view, latest, &frame->cursor)) {
    fprintf(stderr, "%s: failed to duplicate cursor record\n", "cache_state_save");
    return false;
  }
  return footer_items_duplicate(view->footer_items, latest.footer_items, frame->footer_items);
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
  cache->bytes += key_frame_own_bytes(*frame);
  latest_keep(cache, view->ximage);
  trace(view, "-- %s: cache size=%zu\n", "cache_state_save", cache->size);
  cache_thin(cache);
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
  view->cache.spacing = kKeyFrameSpacing;
  view->cache.ceiling = kKeyFrameCeiling;
  return true;
}

void cache_teardown(QomView *view) {
  keyframe_cache *cache = &view->cache;
  for (size_t i = 0; i < cache->size; ++i) key_frame_release(&cache->frames[i]);
  free(cache->frames);
  free(cache->told_times);
  latest_drop(cache);
  *cache = {};
}

bool cache_is_due(const QomView *view, uint64_t time) {
  const keyframe_cache &cache = view->cache;
  if (cache.size == 0) return true;
  const uint64_t then = cache.frames[cache.size - 1].timestamp;
  return time > then && time - then >= cache.spacing;
}

void cache_update(QomView *view, uint64_t time) {
  if (!view->ximage || !cache_is_due(view, time)) return;
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
  if (!cache_picture_restore(view, key_frame)) return false;
  cache_state_restore_footer(view, key_frame);
  return true;
}

bool cache_picture_restore(QomView *view, const KeyFrame *key_frame) {
  QomCursorImage *copy = nullptr;
  if (key_frame->cursor.pixels) {
    copy = cursor_record_of(key_frame->cursor);
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
  return true;
}

void ximage_region_touch(QomView *view) {
  region_clear(view->ximage_region);
  updates_want_all(view);
}
