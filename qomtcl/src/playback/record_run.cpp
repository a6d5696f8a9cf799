#include "playback/record_run.h"

#include <algorithm>

#include "playback/footer.h"
#include "playback/recorded_screen.h"

namespace {

/* What texts of records say that the screen is beyond. */
void passed_texts_follow(QomView *view, size_t first, size_t last) {
  const size_t from = std::max(first, view->progress.texts);
  if (from < last) footer_items_follow(view, from, last);
}

}  // namespace

RunResult records_run(QomView *view, size_t first, size_t last, const Round *round, size_t *next) {
  passed_texts_follow(view, first, std::min(last, qom_screen_place(view->screen)));
  view->round = round;
  const QomScreenResult result = qom_screen_apply(view->screen, last);
  view->round = nullptr;
  const bool followed = screen_follow(view);
  *next = std::clamp(qom_screen_place(view->screen), first, last);
  view->progress.offset = qom_screen_is_within_record(view->screen);
  if (result == QOM_SCREEN_FAILED || !followed) return RunResult::failed;
  return result == QOM_SCREEN_PAUSED ? RunResult::paused : RunResult::done;
}
