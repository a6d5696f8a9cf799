#include "playback/record_run.h"

#include <algorithm>

#include "playback/footer.h"
#include "playback/screen_follow.h"

namespace {

/* What texts of records say that the screen is beyond. */
void passed_texts_follow(QomView *view, size_t first, size_t last) {
  const size_t from = std::max(first, view->progress.texts);
  if (from < last) footer_items_follow(view, from, last);
}

/* The first step starts at record 0. Behind the first image the screen has come past all before it,
   but for what frame 0 goes without. */
void first_step_prepare(QomView *view, size_t first) {
  if (first == 0 && view->creating.passed_records &&
      qom_screen_place(view->screen) == view->index_of_first_frame + 1)
    qom_screen_set_place(view->screen, 0);
}

}  // namespace

RunResult records_run(QomView *view, size_t first, size_t last, const Round *round, size_t *next) {
  if (!view->creating.on) first_step_prepare(view, first);
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
