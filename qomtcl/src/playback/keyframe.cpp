#include "playback/keyframe.h"

#include <qom/screen.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "playback/footer.h"
#include "trace.h"

namespace {

/* The texts of the first key frame are those of the creation, where not every record counts. */
void first_keep(QomView *view, uint64_t time) {
  keyframe_cache *cache = &view->cache;
  if (cache->has_first) return;
  cache->has_first = true;
  cache->first_time = time;
  for (int i = 0; i < FOOTER_ITEMS_COUNT; ++i)
    cache->first_texts[i] = view->footer_items[i] ? strdup(view->footer_items[i]) : nullptr;
}

}  // namespace

void cache_update(QomView *view, uint64_t time) {
  const int saved = qom_screen_save(view->screen);
  if (saved == 0) return;
  if (saved < 0) {
    fprintf(stderr, "%s: failed to cache state at time=%lu\n", "cache_update",
            static_cast<unsigned long>(time));
    return;
  }
  first_keep(view, time);
  size_t bytes = 0;
  trace(view, "-- %s: cache size=%zu\n", "cache_state_save",
        qom_screen_snapshots(view->screen, &bytes));
}

void cache_teardown(QomView *view) {
  footer_items_release(view->cache.first_texts);
  free(view->cache.told_times);
  view->cache = {};
}
