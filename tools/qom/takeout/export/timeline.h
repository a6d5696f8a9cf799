// When a film shows what happened in a recording.
#pragma once

#include <cstdint>
#include <optional>

#include "source.h"

namespace qomtool {

struct Pace {
  uint32_t pictures = 10;              // a second of the film at most
  uint32_t speed = 1000;               // thousandths: 1000 is real time
  std::optional<uint64_t> skips_idle;  // microseconds of the recording that stillness may last
};

// A film is a row of ticks, as many a second as it may have pictures; each shows the recording at
// one time. Stillness that lasts too long is left out of it, and what is still is known only as
// the film goes on: times are asked in their order.
class Timeline {
 public:
  Timeline(uint64_t from, const Pace &pace) : pace_(pace), still_since_(from) {}

  // The first tick whose time is not before this one, while nothing changes until then.
  uint64_t tick_of(uint64_t time) const;

  // The time that a tick shows, when the next thing to happen does so at `next`: of what comes
  // before it, or of it.
  uint64_t time_of(uint64_t tick, uint64_t next) const;

  // At that time, which is not before the last one, something changed.
  void change(uint64_t time);

 private:
  uint64_t shown_until(uint64_t time) const;
  uint64_t shown_at(uint64_t tick) const;

  Pace pace_;
  uint64_t still_since_;       // a time of the recording
  uint64_t shown_before_ = 0;  // microseconds of the recording that the film shows before it
};

}  // namespace qomtool
