// Records applied one after the other.

#include <utility>

#include "file/reader.h"
#include "screen/moving.h"

namespace qom {
namespace {

void tell(const QomScreen *screen, QomScreenEvent event, size_t place, const QomRecord *record) {
  if (screen->options.tell) screen->options.tell(screen->options.context, event, place, record);
}

// Whether another change of the size follows the one at `index` before `end` and before a picture.
bool more_sizes_follow(QomReader *reader, size_t index, size_t end) {
  QomIndexEntry entry;
  for (size_t i = index + 1; i < end && reader_entry(reader, i, &entry); ++i)
    if (entry.type == QOM_SCREEN_CHANGE || draws(entry.type))
      return entry.type == QOM_SCREEN_CHANGE;
  return false;
}

bool covers(const QomScreen *screen, const QomRecord *record) {
  if (record->type != QOM_IMAGE && record->type != QOM_COMPRESSED_IMAGE) return false;
  const auto image = reinterpret_cast<const QomImage *>(record);  // both begin alike
  const QomPicture &picture = screen->state.canvas.picture();
  return image->x == 0 && image->y == 0 && image->width == picture.width &&
         image->height == picture.height;
}

// After a record that could not be read or applied.
void note_failure(QomScreen *screen, uint8_t type) {
  if (draws(type) || type == QOM_SCREEN_CHANGE) screen->trusted = false;
}

// The record at the screen's place; null with the reason. One that is not uncompressed to its end
// stays ahead, since that reads from it.
RecordPtr<QomRecord> next_record(QomScreen *screen) {
  Ahead &ahead = screen->ahead;
  if (screen->place != ahead.index || !ahead.pixels)
    return RecordPtr<QomRecord>(qom_record_at_index(screen->reader, screen->place));
  screen->state.offer(std::move(ahead.pixels));
  ahead.index = SIZE_MAX;
  return std::move(ahead.record);
}

// The record at the screen's place, up to which all are applied.
Applied apply_next(QomScreen *screen, size_t end, const Pause &pause) {
  QomIndexEntry entry = {};
  if (!screen->record) {
    tell(screen, QOM_SCREEN_READING, screen->place, nullptr);
    if (reader_entry(screen->reader, screen->place, &entry)) screen->record = next_record(screen);
    if (!screen->record) {
      note_failure(screen, entry.type);
      tell(screen, QOM_SCREEN_UNREADABLE, screen->place, nullptr);
      return Applied::failed;
    }
  }
  const QomRecord *record = screen->record.get();
  tell(screen, QOM_SCREEN_APPLYING, screen->place, record);
  const bool more_sizes =
      record->type == QOM_SCREEN_CHANGE && more_sizes_follow(screen->reader, screen->place, end);
  const Applied result = screen->state.apply(record, more_sizes, pause);
  if (result == Applied::paused) return result;
  if (result == Applied::failed) note_failure(screen, record->type);
  if (result == Applied::whole && covers(screen, record)) screen->trusted = true;
  tell(screen, result == Applied::failed ? QOM_SCREEN_UNUSABLE : QOM_SCREEN_APPLIED, screen->place,
       record);
  return result;
}

// The record that draws of a checkpoint, which has one.
size_t picture_of(QomReader *reader, size_t first, size_t end) {
  QomIndexEntry entry;
  while (first + 1 < end && reader_entry(reader, first, &entry) && !draws(entry.type)) ++first;
  return first;
}

// What a pause or an end leaves waiting.
QomScreenResult settled(QomScreen *screen, QomScreenResult result) {
  return screen->state.settle() ? result : QOM_SCREEN_FAILED;
}

}  // namespace

int save_if_due(QomScreen *screen, uint64_t time) {
  if (!screen->state.has_picture() || !screen->snapshots.is_due(time)) return 0;
  if (!screen->state.settle()) return -1;
  return screen->snapshots.save(screen->state, screen->place, time, screen->trusted) ? 1 : -1;
}

QomScreenResult run_to(QomScreen *screen, size_t place) {
  const Pause pause(screen->options.pause, screen->options.context);
  if (screen->place < place) reader_expect(screen->reader, screen->place, place);
  while (screen->place < place) {
    const Applied result = apply_next(screen, place, pause);
    if (result == Applied::paused) return settled(screen, QOM_SCREEN_PAUSED);
    const RecordPtr<QomRecord> record = std::move(screen->record);
    if (result == Applied::failed && screen->options.strict) {
      screen->state.settle();
      return QOM_SCREEN_FAILED;
    }
    ++screen->place;
    if (record && !screen->options.save_by_hand) save_if_due(screen, record->timestamp);
    if (screen->place < place && pause.is_due()) return settled(screen, QOM_SCREEN_PAUSED);
  }
  return settled(screen, QOM_SCREEN_REACHED);
}

Applied prepare_checkpoint(QomScreen *screen, size_t first, size_t end) {
  if (!screen->options.pause) return Applied::whole;
  const Pause pause(screen->options.pause, screen->options.context);
  const size_t index = picture_of(screen->reader, first, end);
  Ahead &ahead = screen->ahead;
  if (ahead.index != index) {
    reader_expect(screen->reader, first, end);
    ahead = {};
    ahead.index = index;
    ahead.record.reset(qom_record_at_index(screen->reader, index));
    if (ahead.record) ahead.uncompression.reset(qom_uncompression_begin(ahead.record.get()));
  }
  int result = ahead.uncompression ? 0 : ahead.pixels ? 1 : -1;
  while (result == 0) {
    result = go_on(ahead.uncompression.get(), &ahead.pixels);
    if (result == 0 && pause.is_due()) return Applied::paused;
  }
  ahead.uncompression.reset();
  if (result > 0) return Applied::whole;
  tell(screen, ahead.record ? QOM_SCREEN_UNUSABLE : QOM_SCREEN_UNREADABLE, index,
       ahead.record.get());
  ahead = {};
  return Applied::failed;
}

bool run_checkpoint(QomScreen *screen, size_t first, size_t end) {
  const Pause none(nullptr, nullptr);
  reader_expect(screen->reader, first, end);
  screen->place = first;
  bool applied = true;
  while (applied && screen->place < end) {
    applied = apply_next(screen, end, none) == Applied::whole;
    screen->record.reset();
    if (applied) ++screen->place;
  }
  return screen->state.settle() && applied;
}

}  // namespace qom
