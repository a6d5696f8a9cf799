#include "playback/record_run.h"

#include <cstdio>

#include "handles.h"
#include "playback/footer.h"
#include "playback/record_process.h"
#include "recording/reader.h"
#include "trace.h"

namespace {

bool needs_pixels(uint8_t type) {
  return type == QOM_IMAGE || type == QOM_COMPRESSED_IMAGE || type == QOM_COMPRESSED_IMAGE_BLOCKS;
}

bool record_process_in_run(QomView *view, const QomRecord *record, bool passed,
                           const Round *round) {
  if (passed)
    return screen_change_record_pass(view, reinterpret_cast<const QomScreenChange *>(record));
  if (record->type == QOM_COMPRESSED_IMAGE_BLOCKS)
    return blocks_record_process(view, reinterpret_cast<const QomCompressedImageBlocks *>(record),
                                 round, &view->progress.offset);
  const bool applied = record_process(view, record);
  const bool settled = record->type != QOM_SCREEN_CHANGE || screen_change_settle(view) == 0;
  return applied && settled;
}

bool record_apply(QomView *view, size_t index, size_t last, const Round *round) {
  trace_verbose(view, "-- %s: record %zu\n", "consume_records", index);
  const RecordHandle<QomRecord> record(record_at_index(view, index));
  if (!record) {
    fprintf(stderr, "%s: failed to get record at index %zu\n", "consume_records", index);
    return false;
  }
  if (view->option.verbose && view->option.debug) qom_record_dump(record.get());
  const bool passed = screen_change_is_passed(view, index, last);
  if (record_process_in_run(view, record.get(), passed, round)) return true;
  const auto type = static_cast<QomRecordType>(record->type);
  fprintf(stderr, "%s: failed to process record of type %s(%d) at index %zu\n", "consume_records",
          qom_record_type_to_string(type), type, index);
  return false;
}

/* Texts that are ahead of the picture have had these records. */
bool is_told_already(const QomView *view, size_t index) {
  return index < view->progress.texts && footer_items_are_set_by(view->entries[index].type);
}

RunResult records_walk(QomView *view, size_t first, size_t last, const Round *round, size_t *next) {
  for (size_t i = first; i < last; ++i) {
    *next = i;
    if (is_told_already(view, i)) continue;
    if (!record_apply(view, i, last, round)) {
      view->progress.offset = 0;
      if (!view->tolerance.on) return RunResult::failed;
      screen_change_settle(view);
      ++view->tolerance.passed_over;
      view->tolerance.last_time = view->entries[i].timestamp;
    }
    if (view->progress.offset != 0) return RunResult::paused;
    *next = i + 1;
    if (round && *next < last && round->is_long()) return RunResult::paused;
  }
  return RunResult::done;
}

}  // namespace

bool screen_change_is_passed(const QomView *view, size_t index, size_t last) {
  if (view->entries[index].type != QOM_SCREEN_CHANGE) return false;
  for (size_t i = index + 1; i < last; ++i) {
    const uint8_t type = view->entries[i].type;
    if (type == QOM_SCREEN_CHANGE || needs_pixels(type)) return type == QOM_SCREEN_CHANGE;
  }
  return false;
}

RunResult records_run(QomView *view, size_t first, size_t last, const Round *round, size_t *next) {
  const RunResult result = records_walk(view, first, last, round, next);
  /* What a pause or a failure leaves waiting. */
  return screen_change_settle(view) == 0 ? result : RunResult::failed;
}
