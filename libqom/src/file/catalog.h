// Which records a recording has: from its overview and single parts of the index as long as these
// hold, from the whole index once that is asked for or they do not.
#pragma once

#include <cstddef>
#include <cstdint>

#include "file/activity.h"
#include "file/index.h"
#include "file/parts.h"
#include "file/scan.h"
#include "file/source.h"
#include "qom/qom.h"

namespace qom {

// What can fail gives false, with the reason.
class Catalog {
 public:
  // Both live longer than this.
  Catalog(Source *source, Window *window) : source_(source), window_(window), parts_(window) {}

  // Before anything else is asked.
  void set_space(const FrameSpace &space) { space_ = space; }

  // The whole index; null with the reason. It stays where it is from then on.
  Index *all();

  bool count(uint64_t *records);

  // The entry of a record; EINVAL when there are not as many.
  bool entry(uint64_t record, QomIndexEntry *entry);

  // Number of records before `time`, or with `until` of those that are not behind it.
  bool count_before(uint64_t time, bool until, uint64_t *records);

  // The last checkpoint that begins at or before the record; with none, one without records.
  bool checkpoint_before(uint64_t record, Checkpoint *checkpoint);

  // Number of the first image record; that of all records when there is none.
  bool first_image(uint64_t *record);

  // The activity; null with the reason. It stays as it is.
  const Strip *activity();

  // What was found, an overview that does not hold included.
  bool info(QomReaderInfo *info);

  // Counts up when what was answered before may no longer be true.
  uint64_t generation() const { return generation_; }

 private:
  enum class State { closed, overview, index, failed };

  bool begin();
  bool load_index();
  bool agrees() const;
  bool fail();
  Outcome judge_overview();

  // What the work finds out from the overview; bad when the index is there to ask instead.
  template <typename Work>
  Outcome from_overview(Work work);

  Source *source_;
  Window *window_;
  FrameSpace space_ = {};
  State state_ = State::closed;
  int errno_ = 0;  // of the failure
  Parts parts_;
  Index index_;
  Strip strip_;
  bool measured_ = false;
  bool judged_ = false;
  uint64_t generation_ = 0;
};

}  // namespace qom
