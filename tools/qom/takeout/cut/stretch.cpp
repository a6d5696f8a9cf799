#include "stretch.h"

#include <algorithm>
#include <span>

#include "clock.h"
#include "film_areas.h"
#include "gaps.h"
#include "moment.h"

namespace qomtool {
namespace {

std::span<const QomIndexEntry> entries_of(const Recording &recording) {
  return {recording.index, recording.length};
}

bool draws(const QomIndexEntry &entry) {
  return entry.type == QOM_IMAGE || entry.type == QOM_COMPRESSED_IMAGE ||
         entry.type == QOM_COMPRESSED_IMAGE_BLOCKS;
}

uint64_t time_of_text(const Recording &recording, const std::string &text) {
  std::string why;
  return time_of(*parse_moment(text, &why), recording, first_moment(recording));
}

// Number of records whose time is at or before `time`.
size_t count_until(const Recording &recording, uint64_t time) {
  const auto entries = entries_of(recording);
  const auto end =
      std::partition_point(entries.begin(), entries.end(),
                           [time](const QomIndexEntry &entry) { return entry.timestamp <= time; });
  return static_cast<size_t>(end - entries.begin());
}

bool is_in(const QomGap &gap, const CutStretch &stretch) {
  if (gap.record > stretch.stop) return false;
  if (gap.record <= stretch.first && !stretch.whole_start && gap.end <= stretch.begin) return false;
  return gap.record < stretch.stop || stretch.whole_end || gap.begin < stretch.end;
}

// Collects damage up to a place of the file.
struct DamageSearch {
  const Recording &recording;
  int64_t limit;  // position of the last record that matters
  std::vector<DamagedPlace> found;

  static int visit(void *self, const QomScanEvent *event) {
    return static_cast<DamageSearch *>(self)->visit(*event);
  }

  // A broken file head has a copy. Damaged records that the index has show when they are read.
  int visit(const QomScanEvent &event) {
    if (event.position >= limit) return 1;
    if (event.kind != QOM_SCAN_DAMAGE || event.position == 0) return 0;
    const auto entries = entries_of(recording);
    const auto behind = std::partition_point(
        entries.begin(), entries.end(),
        [&event](const QomIndexEntry &entry) { return entry.position < event.position; });
    if (behind->position >= event.position + static_cast<int64_t>(event.length))
      found.push_back({static_cast<size_t>(behind - entries.begin()), event.length});
    return 0;
  }
};

}  // namespace

uint64_t first_moment(const Recording &recording) {
  const auto entries = entries_of(recording);
  const auto found = std::find_if(entries.begin(), entries.end(), draws);
  return found == entries.end() ? recording.header->timestamp : found->timestamp;
}

std::string describe_time(const Recording &recording, uint64_t time) {
  return elapsed_time(first_moment(recording), time) + " (" + local_time(time) + ')';
}

CutStretch choose_stretch(const Recording &recording, const std::string &from,
                          const std::string &to) {
  if (recording.length == 0) throw CutError("it holds no records, so that nothing can be cut out");
  const uint64_t start = recording.header->timestamp;
  const uint64_t last = recording.index[recording.length - 1].timestamp;
  CutStretch stretch{from.empty(), to.empty(), start, last, 0, 0};
  if (!from.empty()) stretch.begin = std::max(start, time_of_text(recording, from));
  if (!to.empty()) stretch.end = std::min(last, time_of_text(recording, to));
  if (stretch.begin > last)
    throw CutError("--from, " + describe_time(recording, stretch.begin) +
                   ", is behind the end, which is " + describe_time(recording, last));
  if (stretch.begin > stretch.end)
    throw CutError("--from, " + describe_time(recording, stretch.begin) + ", is behind --to, " +
                   describe_time(recording, stretch.end));
  stretch.first = from.empty() ? 0 : count_until(recording, stretch.begin);
  stretch.stop = count_until(recording, stretch.end);
  if (stretch.stop == 0)
    throw CutError("its first record, " + describe_time(recording, recording.index[0].timestamp) +
                   ", is behind --to");
  return stretch;
}

bool has_picture(const Recording &recording, const CutStretch &stretch) {
  const auto entries = entries_of(recording).first(stretch.stop);
  return std::any_of(entries.begin(), entries.end(), draws);
}

std::vector<CheckpointRun> checkpoints_in(const Recording &recording, const CutStretch &stretch) {
  std::vector<CheckpointRun> runs;
  CheckpointRun run;
  for (size_t at = stretch.stop; at > stretch.first; at = run.first) {
    if (qom_checkpoint_before(recording.reader.get(), at - 1, &run.first, &run.end) != 1 ||
        run.first < stretch.first)
      break;
    runs.push_back(run);
  }
  std::reverse(runs.begin(), runs.end());
  return runs;
}

std::vector<QomGap> gaps_in(const Recording &recording, const CutStretch &stretch) {
  std::vector<QomGap> chosen;
  const QomGap *clock = nullptr;
  for (const QomGap &gap : gaps_of(recording.reader.get())) {
    if (is_in(gap, stretch))
      chosen.push_back(gap);
    else if (gap.reason == QOM_GAP_CLOCK_SET && gap.record <= stretch.first)
      clock = &gap;
  }
  if (clock) chosen.insert(chosen.begin(), *clock);
  return chosen;
}

std::vector<QomFilmArea> film_areas_in(const Recording &recording, const CutStretch &stretch) {
  std::vector<QomFilmArea> chosen;
  for (QomFilmArea area : film_areas_of(recording.reader.get())) {
    area.begin = std::max(area.begin, stretch.begin);
    area.end = std::min(area.end, stretch.end);
    if (area.begin < area.end) chosen.push_back(area);
  }
  return chosen;
}

std::vector<DamagedPlace> damaged_places(const Recording &recording, size_t stop) {
  if (recording.info.damaged_bytes == 0 || stop == 0) return {};
  DamageSearch search{recording, recording.index[stop - 1].position, {}};
  if (qom_reader_scan(recording.reader.get(), DamageSearch::visit, &search) < 0)
    throw CutError(qom_reader_error());
  return search.found;
}

}  // namespace qomtool
