// Where a move starts: the one place that chooses among the states that are known.
#include "file/reader.h"
#include "screen/moving.h"

namespace qom {
namespace {

constexpr size_t longest_checkpoint = 64;  // records

// A run of records that restates the whole state.
struct Run {
  size_t first;
  size_t end;
};

// But for its picture a checkpoint is applied without a pause, so that it must not be more than the
// statement of one state; files may claim anything.
bool restates_all(QomReader *reader, const Run &run) {
  if (run.end - run.first > longest_checkpoint) return false;
  int sizes = 0;
  int pictures = 0;
  for (size_t i = run.first; i < run.end; ++i) {
    QomIndexEntry entry;
    if (!reader_entry(reader, i, &entry)) return false;
    if (entry.type == QOM_SCREEN_CHANGE && pictures == 0) ++sizes;
    if (draws(entry.type) && (entry.type != QOM_COMPRESSED_IMAGE || sizes != 1)) return false;
    pictures += draws(entry.type);
  }
  return sizes == 1 && pictures == 1;
}

// Bytes in the file tell the work well enough: a checkpoint has to save more than it costs.
bool pays(QomReader *reader, size_t start, const Run &run) {
  QomIndexEntry from;
  QomIndexEntry first;
  QomIndexEntry last;
  if (!reader_entry(reader, start, &from) || !reader_entry(reader, run.first, &first) ||
      !reader_entry(reader, run.end - 1, &last))
    return false;
  return first.position - from.position > last.position + int64_t{last.length} - first.position;
}

// The last usable checkpoint that begins behind the record `start`, from which the move would
// start otherwise, and ends at or before `place`; none before `limit` was any good.
bool find_checkpoint(QomReader *reader, size_t start, size_t place, size_t limit, Run *run) {
  size_t at = limit;
  while (qom_checkpoint_before(reader, at, &run->first, &run->end) == 1) {
    if (run->first <= start || run->first > at) return false;
    if (run->end <= place && restates_all(reader, *run)) return pays(reader, start, *run);
    at = run->first - 1;
  }
  return false;
}

bool begin_anew(QomScreen *screen) {
  screen->place = 0;
  screen->record.reset();
  screen->trusted = true;
  return screen->state.reset();
}

bool start_from_checkpoint(QomScreen *screen, const Run &run) {
  if (!begin_anew(screen) || !run_checkpoint(screen, run.first, run.end)) return false;
  screen->trusted = true;
  screen->state.touch();
  return true;
}

bool start_from_snapshot(QomScreen *screen, const Snapshot &snapshot) {
  screen->record.reset();
  if (!Snapshots::restore(snapshot, &screen->state)) return false;
  screen->place = snapshot.place;
  screen->trusted = snapshot.trusted;
  return true;
}

// Whether the screen's own state is on the way.
bool is_on_the_way(const QomScreen *screen, size_t place) {
  if (screen->is_lost || screen->place > place) return false;
  return screen->place < place || !screen->state.is_within_record();
}

QomScreenResult choose(QomScreen *screen, size_t place, QomScreenStart *start) {
  const bool here = is_on_the_way(screen, place);
  if (here && screen->place == place) return QOM_SCREEN_REACHED;
  const Snapshot *snapshot = screen->snapshots.before(place);
  const bool restore = snapshot && (!here || snapshot->place > screen->place);
  const size_t from = restore ? snapshot->place : here ? screen->place : 0;
  Run run;
  size_t limit = screen->ahead.place == place ? screen->ahead.limit : place;
  while (find_checkpoint(screen->reader, from, place, limit, &run)) {
    const Applied prepared = prepare_checkpoint(screen, run.first, run.end);
    if (prepared == Applied::paused) {
      screen->ahead.place = place;
      screen->ahead.limit = limit;
      return QOM_SCREEN_PAUSED;
    }
    screen->is_lost = prepared == Applied::failed || !start_from_checkpoint(screen, run);
    *start = {QOM_START_CHECKPOINT, 0, run.first, run.end};
    if (!screen->is_lost) return QOM_SCREEN_REACHED;
    if (run.first == 0) break;
    limit = run.first - 1;
  }
  bool started = true;
  if (restore) {
    *start = {QOM_START_SNAPSHOT, snapshot->time, 0, 0};
    started = start_from_snapshot(screen, *snapshot);
  } else if (!here || screen->is_lost) {
    *start = {QOM_START_BEGINNING, 0, 0, 0};
    started = begin_anew(screen);
  }
  screen->is_lost = !started;
  return started ? QOM_SCREEN_REACHED : QOM_SCREEN_FAILED;
}

}  // namespace

QomScreenResult start_move(QomScreen *screen, size_t place, QomScreenStart *start) {
  *start = {QOM_START_HERE, 0, 0, 0};
  const QomScreenResult result = choose(screen, place, start);
  if (result != QOM_SCREEN_PAUSED) screen->ahead = {};
  return result;
}

}  // namespace qom
