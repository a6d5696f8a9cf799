#include "summary.h"

namespace qomtool {
namespace {

constexpr uint64_t kFrameHead = 32;  // bytes in front of each payload

void add(TypeSummary &summary, const QomIndexEntry &entry) {
  ++summary.count;
  summary.bytes += kFrameHead + entry.length;
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
  return summary;
}

}  // namespace qomtool
