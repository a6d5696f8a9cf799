#include "timeline.h"

#include <algorithm>

namespace qomtool {

// Microseconds of the recording that the film shows before a time.
uint64_t Timeline::shown_until(uint64_t time) const {
  const uint64_t still = std::max(time, still_since_) - still_since_;
  return shown_before_ + std::min(still, pace_.skips_idle.value_or(still));
}

// Those that it shows before a tick, which lasts speed / 1000 / pictures seconds of them.
uint64_t Timeline::shown_at(uint64_t tick) const {
  return tick * pace_.speed * 1000 / pace_.pictures;
}

uint64_t Timeline::tick_of(uint64_t time) const {
  const uint64_t per_tick = uint64_t{pace_.speed} * 1000;
  return (shown_until(time) * pace_.pictures + per_tick - 1) / per_tick;
}

uint64_t Timeline::time_of(uint64_t tick, uint64_t next) const {
  const uint64_t shown = shown_at(tick);
  const uint64_t before_next = shown_until(next);
  if (shown >= before_next) return next + (shown - before_next);
  return still_since_ + (std::max(shown, shown_before_) - shown_before_);
}

void Timeline::change(uint64_t time) {
  shown_before_ = shown_until(time);
  still_since_ = std::max(time, still_since_);
}

}  // namespace qomtool
