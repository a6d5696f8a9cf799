#include "summary.h"

#include <algorithm>
#include <vector>

#include "clock.h"

namespace qomtool {
namespace {

constexpr uint64_t kFrameHead = 32;  // bytes in front of each payload

void add(TypeSummary &summary, const QomIndexEntry &entry) {
  ++summary.count;
  summary.bytes += kFrameHead + entry.length;
}

bool changes_picture(const QomIndexEntry &entry) {
  return entry.type == QOM_IMAGE || entry.type == QOM_COMPRESSED_IMAGE ||
         entry.type == QOM_IMAGE_BLOCKS || entry.type == QOM_COMPRESSED_IMAGE_BLOCKS ||
         entry.type == QOM_COPY_AREA;
}

uint64_t picture_interval(const Recording &recording) {
  constexpr uint64_t longest = 1'000'000;
  std::vector<uint64_t> intervals;
  uint64_t last = 0;
  for (size_t i = 0; i < recording.length; ++i) {
    if (!changes_picture(recording.index[i])) continue;
    const uint64_t time = recording.index[i].timestamp;
    if (last != 0 && time > last && time - last <= longest) intervals.push_back(time - last);
    last = time;
  }
  if (intervals.empty()) return 0;
  const auto middle = intervals.begin() + static_cast<ptrdiff_t>(intervals.size() / 2);
  std::nth_element(intervals.begin(), middle, intervals.end());
  return *middle;
}

}  // namespace

Summary summarise(const Recording &recording) {
  Summary summary;
  for (size_t i = 0; i < recording.length; ++i) {
    const QomIndexEntry &entry = recording.index[i];
    add(summary.types[entry.type], entry);
    add(summary.total, entry);
    if (i == 0) continue;
    const uint64_t gap = entry.timestamp - recording.index[i - 1].timestamp;
    if (gap > summary.largest_gap) {
      summary.largest_gap = gap;
      summary.gap_index = i - 1;
    }
  }
  if (recording.length > 0) {
    const uint64_t last = recording.index[recording.length - 1].timestamp;
    const uint64_t start = recording.header->timestamp;
    summary.duration = last > start ? last - start : 0;
  }
  summary.picture_interval = picture_interval(recording);
  return summary;
}

double per_second(uint64_t amount, uint64_t microseconds) {
  return static_cast<double>(amount) * static_cast<double>(kSecond) /
         static_cast<double>(microseconds);
}

}  // namespace qomtool
