#include "playback/record_process.h"

#include <err.h>

#include <cassert>
#include <cstdio>

#include "playback/footer.h"
#include "playback/screen_change.h"
#include "playback/screen_follow.h"
#include "trace.h"

namespace {

/* Of a record, before those that reach beyond the frame are no longer reported. */
constexpr size_t kReportedBlocks = 1 << 10;

template <typename Typed>
const Typed *as(const QomRecord *record) {
  return reinterpret_cast<const Typed *>(record);
}

/* Another view may have been made since; with its padding the rows of this recording would be
   read past their end. */
void scanline_pad_use(const QomView *view) {
  scanline_pad = view->header->scanline_pad;
}

/* Results as the trace reports them: 0 applied or without effect, 1 failed. */
void result_trace(const QomView *view, int result) {
  trace_verbose(view, "-- %s: result=%d\n", "record_process", result);
}

void screen_change_trace(const QomView *view, const QomRecord *record) {
  if (record->type != QOM_SCREEN_CHANGE) return;
  const auto *change = as<QomScreenChange>(record);
  trace(view, "-- %s: SCREEN CHANGE old %dx%d new %dx%d\n", "record_process", view->width,
        view->height, change->width, change->height);
}

void size_warn(const QomRecord *record) {
  if (record->type != QOM_SCREEN_CHANGE) return;
  warnx("%s: screen size %dx%d is out of range", "screen_change_process",
        as<QomScreenChange>(record)->width, as<QomScreenChange>(record)->height);
}

/* What a record that was applied changes of the view at once. */
void record_follow(QomView *view, const QomRecord *record) {
  if (record->type == QOM_SCREEN_CHANGE)
    screen_change_note(view, as<QomScreenChange>(record)->width,
                       as<QomScreenChange>(record)->height);
  if (record->type == QOM_CURSOR_IMAGE || record->type == QOM_CURSOR_POSITION)
    view->cursor.changed = true;
}

/* Texts that are ahead of the picture have had these records. */
bool is_told_already(const QomView *view, size_t index) {
  return index < view->progress.texts && footer_items_are_set_by(view->entries[index].type);
}

void failure_tell(QomView *view, QomScreenEvent event, size_t index, const QomRecord *record) {
  if (view->creating.on) {
    view->creating.unreadable = event == QOM_SCREEN_UNREADABLE;
    return;
  }
  if (event == QOM_SCREEN_UNREADABLE) {
    fprintf(stderr, "%s: failed to get record at index %zu\n", "consume_records", index);
  } else {
    const auto type = static_cast<QomRecordType>(record->type);
    fprintf(stderr, "%s: failed to process record of type %s(%d) at index %zu\n", "consume_records",
            qom_record_type_to_string(type), type, index);
  }
  if (!view->tolerance.on) return;
  ++view->tolerance.passed_over;
  view->tolerance.last_time = view->entries[index].timestamp;
}

/* At creation a text of the last input does not count yet. */
void texts_tell(QomView *view, const QomRecord *record) {
  if (!footer_items_are_set_by(record->type)) return;
  if (view->creating.on && record->type == QOM_LAST_INPUT) return;
  if (view->creating.on) ++view->creating.items;
  footer_record_process(view, record);
}

void applying_tell(QomView *view, const QomRecord *record) {
  if (view->option.verbose && view->option.debug) qom_record_dump(record);
  screen_change_trace(view, record);
  view->merged_blocks = 0;
}

}  // namespace

bool record_process(QomView *view, const QomRecord *record) {
  screen_change_trace(view, record);
  view->merged_blocks = 0;
  bool applied = qom_screen_take(view->screen, record) == 0;
  if (applied) {
    record_follow(view, record);
    if (footer_items_are_set_by(record->type)) footer_record_process(view, record);
  }
  if (!applied) size_warn(record);
  applied = screen_follow(view) && applied;
  result_trace(view, applied ? 0 : 1);
  return applied;
}

int screen_change_process(QomView *view, uint16_t new_width, uint16_t new_height) {
  QomScreenChange change{};
  change.type = QOM_SCREEN_CHANGE;
  change.width = new_width;
  change.height = new_height;
  return record_process(view, reinterpret_cast<const QomRecord *>(&change)) ? 0 : 1;
}

void record_tell(void *context, QomScreenEvent event, size_t index,
                 const QomRecord *record) noexcept {
  auto *view = static_cast<QomView *>(context);
  const bool told = is_told_already(view, index);
  switch (event) {
    case QOM_SCREEN_READING:
      if (!told) trace_verbose(view, "-- %s: record %zu\n", "consume_records", index);
      return;
    case QOM_SCREEN_APPLYING:
      if (!told) applying_tell(view, record);
      return;
    case QOM_SCREEN_APPLIED:
      if (told) return;
      record_follow(view, record);
      texts_tell(view, record);
      return result_trace(view, 0);
    case QOM_SCREEN_UNUSABLE:
      size_warn(record);
      result_trace(view, 1);
      [[fallthrough]];
    case QOM_SCREEN_UNREADABLE:
      return failure_tell(view, event, index, record);
  }
}

void image_merge(QomView *view, const QomImage *img) {
  assert(view != 0 && "view should not be NULL");
  assert(img != 0 && "img should not be NULL");
  assert((img != 0 && (((QomRecord *)img)->type) == QOM_IMAGE) && "img should be a QomImage");
  scanline_pad_use(view);
  const bool reported = ++view->merged_blocks <= kReportedBlocks;
  (reported ? view->merge : merge_without_report(view->merge))(img, view->ximage);
}
