// Times of the recorder.
#ifndef QOM_RECORD_CLOCK_H
#define QOM_RECORD_CLOCK_H

#include <cstdint>
#include <ctime>

namespace qom::record {

inline constexpr int64_t second = 1'000'000;  // microseconds

// Microseconds since an arbitrary moment; goes on while the machine sleeps, never steps.
inline int64_t steady_time() {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return now.tv_sec * second + now.tv_nsec / 1000;
}

// Microseconds since the epoch. The system's clock is read once; later times are measured from
// there, so that they never go back when somebody sets the clock.
class RecordingClock {
 public:
  RecordingClock() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    offset_ = now.tv_sec * second + now.tv_nsec / 1000 - steady_time();
  }
  // The time that steady_time() gave.
  uint64_t at(int64_t steady) const { return static_cast<uint64_t>(steady + offset_); }
  uint64_t now() const { return static_cast<uint64_t>(steady_time() + offset_); }

 private:
  int64_t offset_;
};

}  // namespace qom::record

#endif
