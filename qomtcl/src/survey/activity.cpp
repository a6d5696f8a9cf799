#include "survey/activity.h"

#include <algorithm>
#include <cmath>

#include "recording/timeline.h"

namespace {

constexpr uint64_t kTogether = 8000;   /* microseconds between changes that are one */
constexpr uint64_t kInterval = 200000; /* microseconds; longer ones tell nothing of the rate */
constexpr size_t kIntervals = 20;      /* fewer tell nothing */
constexpr double kSecond = 1e6;
constexpr double kLeastRate = 10;
constexpr double kMostRate = 60;

bool draws(const QomIndexEntry &entry) {
  switch (entry.type) {
    case QOM_IMAGE:
    case QOM_COMPRESSED_IMAGE:
    case QOM_IMAGE_BLOCKS:
    case QOM_COMPRESSED_IMAGE_BLOCKS:
    case QOM_COPY_AREA:
    case QOM_SCREEN_CHANGE:
      return true;
    default:
      return false;
  }
}

bool is_input(const QomIndexEntry &entry) {
  return entry.type == QOM_CURSOR_POSITION || entry.type == QOM_LAST_INPUT;
}

/* Counts as happening, where stretches in which nothing happens are looked for. */
bool happens(const QomIndexEntry &entry) {
  return entry.type != QOM_CURSOR_POSITION && entry.type != QOM_DONE && entry.type != QOM_DEBUG &&
         entry.type != QOM_HEADER;
}

struct Range {
  size_t first;
  size_t end;
};

/* The records of all checkpoints, in order. */
std::vector<Range> checkpoints(const QomView *view) {
  std::vector<Range> ranges;
  Range range{};
  size_t index = index_length(view);
  while (index > 0 &&
         qom_checkpoint_before(view->reader, index - 1, &range.first, &range.end) == 1) {
    ranges.push_back(range);
    index = range.first;
  }
  std::reverse(ranges.begin(), ranges.end());
  return ranges;
}

/* Calls `take` for each entry from `first` on that belongs to no checkpoint, until it returns
   false. */
template <typename Take>
void entries_visit(const QomView *view, size_t first, const Take &take) {
  const std::vector<Range> ranges = checkpoints(view);
  auto range = ranges.begin();
  const size_t length = index_length(view);
  for (size_t i = first; i < length; ++i) {
    while (range != ranges.end() && i >= range->end) ++range;
    if (range != ranges.end() && i >= range->first) continue;
    if (!take(view->entries[i])) return;
  }
}

/* The mean of the intervals that are not far from a usual one: what is late is early the next time.
 */
double mean_near(const std::vector<uint64_t> &intervals, double usual) {
  double sum = 0;
  double count = 0;
  for (const uint64_t interval : intervals) {
    if (std::abs(static_cast<double>(interval) - usual) > usual / 2) continue;
    sum += static_cast<double>(interval);
    ++count;
  }
  return sum / count;
}

size_t first_at(const QomView *view, uint64_t time) {
  const QomIndexEntry *end = view->entries + index_length(view);
  const QomIndexEntry *entry =
      std::lower_bound(static_cast<const QomIndexEntry *>(view->entries), end, time,
                       [](const QomIndexEntry &e, uint64_t at) { return e.timestamp < at; });
  return static_cast<size_t>(entry - view->entries);
}

}  // namespace

Activity activity_measure(const QomView *view, uint64_t from, uint64_t to, size_t parts) {
  Activity activity{std::vector<uint64_t>(parts), std::vector<uint64_t>(parts)};
  const double wide = static_cast<double>(to - from) / static_cast<double>(parts);
  entries_visit(view, first_at(view, from), [&](const QomIndexEntry &entry) {
    if (entry.timestamp > to) return false;
    const auto part = std::min(
        parts - 1, static_cast<size_t>(static_cast<double>(entry.timestamp - from) / wide));
    if (draws(entry)) activity.picture[part] += std::max<uint64_t>(1, qom_index_entry_area(&entry));
    if (is_input(entry)) ++activity.input[part];
    return true;
  });
  return activity;
}

std::vector<QomStretch> idle_find(const QomView *view, uint64_t limit) {
  std::vector<QomStretch> stretches;
  uint64_t since = time_of_first_frame(view);
  const auto end = [&](uint64_t time) {
    if (time > since && time - since >= limit) stretches.push_back({since, time});
    since = std::max(since, time);
  };
  entries_visit(view, first_at(view, since), [&](const QomIndexEntry &entry) {
    if (happens(entry)) end(entry.timestamp);
    return true;
  });
  end(time_of_last_record(view));
  return stretches;
}

uint8_t recorded_framerate(const QomView *view) {
  std::vector<uint64_t> intervals;
  uint64_t before = 0;
  entries_visit(view, view->index_of_first_frame, [&](const QomIndexEntry &entry) {
    if (!draws(entry) || entry.timestamp - before < kTogether) return true;
    if (before != 0 && entry.timestamp - before <= kInterval)
      intervals.push_back(entry.timestamp - before);
    before = entry.timestamp;
    return true;
  });
  if (intervals.size() < kIntervals) return static_cast<uint8_t>(kLeastRate);
  const auto middle = intervals.begin() + static_cast<std::ptrdiff_t>(intervals.size() / 2);
  std::nth_element(intervals.begin(), middle, intervals.end());
  return static_cast<uint8_t>(
      std::clamp(std::round(kSecond / mean_near(intervals, static_cast<double>(*middle))),
                 kLeastRate, kMostRate));
}
