#include "gap_watch.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include "clock.h"

namespace qom::record {
namespace {

constexpr int64_t overslept = 2 * second;  // more than a busy machine keeps a process waiting
constexpr int64_t busy = 7 * second;       // longer than between two signs of life
constexpr int64_t suspended = second;
constexpr int64_t set = second / 10;  // finer corrections of a clock are made by its speed

int64_t time_of(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return now.tv_sec * second + now.tv_nsec / 1000;
}

}  // namespace

// The process can lose the processor between two readings, which would look like a clock that was
// set: they are made again then.
Clocks read_clocks() {
  Clocks clocks{};
  for (int attempt = 0; attempt < 5; attempt++) {
    clocks = {steady_time(), time_of(CLOCK_MONOTONIC), time_of(CLOCK_REALTIME)};
    if (steady_time() - clocks.steady < set / 10) break;
  }
  return clocks;
}

std::vector<Gap> GapWatch::rests(const Clocks &now, int64_t until, int64_t recorded) {
  const int64_t begin = std::max(last_.steady, recorded);
  until_ = until;
  return passed(now, QOM_GAP_LATE, begin, begin + busy);
}

std::vector<Gap> GapWatch::wakes(const Clocks &now) {
  return passed(now, QOM_GAP_STOPPED, last_.steady, std::max(until_, last_.steady) + overslept);
}

// `begin` is what a gap for the given reason begins with; there is one when it is later than
// allowed.
std::vector<Gap> GapWatch::passed(const Clocks &now, QomGapReason reason, int64_t begin,
                                  int64_t allowed) {
  std::vector<Gap> gaps;
  const int64_t asleep = (now.steady - last_.steady) - (now.awake - last_.awake);
  if (asleep >= suspended) {
    gaps.push_back({QOM_GAP_SUSPENDED, last_.steady, now.steady, 0});
  } else if (now.steady > allowed) {
    gaps.push_back({reason, begin, now.steady, 0});
  }
  const int64_t offset = now.wall - now.steady;
  if (std::abs(offset - (last_.wall - last_.steady)) >= set) {
    gaps.push_back({QOM_GAP_CLOCK_SET, last_.steady, now.steady, offset - first_offset_});
  }
  last_ = now;
  return gaps;
}

}  // namespace qom::record
