#include "file/activity.h"

#include <algorithm>
#include <cstring>

#include "file/format.h"

namespace qom {
namespace {

void add(uint32_t *sum, uint64_t amount) {
  *sum = static_cast<uint32_t>(std::min<uint64_t>(*sum + amount, UINT32_MAX));
}

void count(const QomIndexEntry &entry, QomActivityStep *step) {
  if (draws(entry.type)) {
    add(&step->bytes, uint64_t{frame_head_bytes} + entry.length);
    add(&step->area, decode_area(entry.area));
  } else if (entry.type == QOM_CURSOR_POSITION) {
    add(&step->moves, 1);
  } else if (entry.type == QOM_LAST_INPUT) {
    add(&step->input, 1);
  } else if (entry.type == QOM_FOOTER_ITEM_APP || entry.type == QOM_FOOTER_ITEM_APPFMT) {
    add(&step->apps, 1);
  }
}

}  // namespace

uint64_t step_width(uint64_t first, uint64_t last) {
  return (last - first) / max_steps + 1;
}

size_t step_count(uint64_t first, uint64_t last) {
  return static_cast<size_t>((last - first) / step_width(first, last)) + 1;
}

bool measure_activity(std::span<const QomIndexEntry> entries,
                      std::span<const Checkpoint> checkpoints, Strip *strip) {
  strip->steps.clear();
  strip->start = 0;
  strip->width = 1;
  if (entries.empty()) return true;
  strip->start = entries.front().timestamp;
  const uint64_t last = entries.back().timestamp;
  strip->width = step_width(strip->start, last);
  if (!strip->steps.resize(step_count(strip->start, last))) {
    out_of_memory("the activity");
    return false;
  }
  std::memset(strip->steps.data(), 0, strip->steps.size() * sizeof(QomActivityStep));

  QomActivityStep *step = strip->steps.data();
  uint64_t end = strip->start + strip->width;  // of the step
  auto checkpoint = checkpoints.begin();
  for (size_t i = 0; i < entries.size(); ++i) {
    while (checkpoint != checkpoints.end() && i >= checkpoint->end) ++checkpoint;
    if (checkpoint != checkpoints.end() && i >= checkpoint->first) continue;
    for (; entries[i].timestamp >= end; end += strip->width) ++step;
    count(entries[i], step);
  }
  return true;
}

}  // namespace qom
