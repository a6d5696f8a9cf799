// What a recording's index and header tell without reading any record.
#pragma once

#include <array>
#include <cstdint>

#include "recording.h"

namespace qomtool {

struct TypeSummary {
  uint64_t count = 0;
  uint64_t bytes = 0;  // in the file, frame heads included
};

struct Summary {
  std::array<TypeSummary, 256> types;  // by QomRecordType
  TypeSummary total;
  uint64_t duration = 0;     // microseconds from the start in the header to the last record
  uint64_t largest_gap = 0;  // microseconds between two records that follow each other
  size_t gap_index = 0;      // the earlier of the two; has no meaning without a gap
  // Median time between two pictures or changes of it that follow each other within a second,
  // microseconds: how often the picture was looked at while it changed. 0 when there are none.
  uint64_t picture_interval = 0;
};

Summary summarise(const Recording &recording);

// How many come in a second on the average; `microseconds` is above 0.
double per_second(uint64_t amount, uint64_t microseconds);

}  // namespace qomtool
