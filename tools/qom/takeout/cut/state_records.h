// The state of a screen as the records that restate it.
#pragma once

#include <vector>

#include "raw_screen.h"
#include "records.h"

namespace qomtool {

struct StateRecords {
  std::vector<RecordPtr> all;
  bool is_checkpoint;  // there is a picture; otherwise the cursor and the texts alone are restated
  bool exact;          // false: parts that were never drawn cannot be written black
};

// What `screen` shows, at `time`, as records that have it. Throws std::bad_alloc.
StateRecords state_records(RawScreen &screen, uint64_t time);

}  // namespace qomtool
