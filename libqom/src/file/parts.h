// Index parts, read one by one when they are asked for. An overview tells what is in each of them;
// a part that does not agree with it does not count.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/array.h"
#include "file/index.h"
#include "file/overview.h"
#include "file/scan.h"
#include "file/source.h"

namespace qom {

class Parts {
 public:
  explicit Parts(const Window *window) : window_(window) {}

  // Reads the overview of a finished recording of that many bytes. Bad when there is none that
  // holds.
  Outcome open(const Source &source, const FrameSpace &space);

  // What was opened; stays as it is when the parts are closed.
  const Overview &overview() const { return overview_; }

  // Releases the parts that are in memory.
  void close();

  // The entry of a record of the overview.
  Outcome entry(uint64_t record, QomIndexEntry *entry);

  // Number of records before `time`, or with `until` of those that are not behind it.
  Outcome count_before(uint64_t time, bool until, uint64_t *records);

  // The last checkpoint that begins at or before the record; with none, one without records.
  Outcome checkpoint_before(uint64_t record, Checkpoint *checkpoint);

 private:
  struct Loaded {
    size_t part = SIZE_MAX;
    uint64_t used = 0;  // when it was asked for last
    Array<uint8_t> frame;
  };

  // Parts in memory; one has about 100 KB.
  static constexpr size_t most_loaded = 16;

  size_t part_of(uint64_t record) const;
  Outcome entries_of(size_t part, const QomIndexEntry **entries);
  Outcome load(size_t part, Loaded *loaded);
  bool check_part(size_t part, const uint8_t *frame) const;
  bool check_entries(size_t part, QomIndexEntry *entries) const;
  bool check_spans(size_t part, const QomIndexEntry *entries, const uint8_t *spans) const;
  Loaded &least_used();

  const Window *window_;
  FrameSpace space_ = {};
  Overview overview_;
  Array<PartPlace> places_;
  Loaded loaded_[most_loaded];
  size_t latest_ = 0;  // in loaded_
  uint64_t clock_ = 0;
};

}  // namespace qom
