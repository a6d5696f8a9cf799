// What happened when in a recording, counted from the entries of its index.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "base/array.h"
#include "file/index.h"
#include "qom/qom.h"

namespace qom {

struct Strip {
  uint64_t start = 0;  // of the first step, microseconds
  uint64_t width = 1;  // of a step, microseconds
  Array<QomActivityStep> steps;
};

inline constexpr uint64_t max_steps = 4096;

// The width and the number of steps between the times of the first and the last record.
uint64_t step_width(uint64_t first, uint64_t last);
size_t step_count(uint64_t first, uint64_t last);

// Counts the entries of records that belong to none of the checkpoints. False with the reason when
// memory is short.
bool measure_activity(std::span<const QomIndexEntry> entries,
                      std::span<const Checkpoint> checkpoints, Strip *strip);

}  // namespace qom
