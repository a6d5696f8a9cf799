// Notices stretches in which the recorder did not record.
#ifndef QOM_RECORD_GAP_WATCH_H
#define QOM_RECORD_GAP_WATCH_H

#include <cstdint>
#include <vector>

#include "qom/qom.h"

namespace qom::record {

// The system's clocks at one moment, microseconds.
struct Clocks {
  int64_t steady;  // steady_time()
  int64_t awake;   // the same without the time that the machine slept
  int64_t wall;    // since the epoch; anybody may set it
};

Clocks read_clocks();

// A stretch that was not recorded; begin and end as steady_time() has them.
struct Gap {
  QomGapReason reason;
  int64_t begin;
  int64_t end;
  int64_t clock_offset;  // as in QomGap

  bool operator==(const Gap &) const = default;
};

// It is told whenever the recorder goes to sleep and wakes, and tells what was missed since the
// last call. A recorder that wakes long after the time it asked for was stopped; one that was busy
// for long and recorded nothing was kept from it by its disk or its display.
class GapWatch {
 public:
  explicit GapWatch(const Clocks &now) : last_(now), first_offset_(now.wall - now.steady) {}

  // The recorder sleeps until `until` at the latest. Its last record was made at `recorded`. (Both
  // as steady_time() has them.)
  std::vector<Gap> rests(const Clocks &now, int64_t until, int64_t recorded);
  std::vector<Gap> wakes(const Clocks &now);

 private:
  std::vector<Gap> passed(const Clocks &now, QomGapReason reason, int64_t begin, int64_t allowed);

  Clocks last_;  // of the last call
  int64_t until_ = 0;
  int64_t first_offset_;  // of the wall's clock from the steady one
};

}  // namespace qom::record

#endif
