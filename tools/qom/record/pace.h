// When the recorder looks at the display, and whether it keeps the rate that it was asked for.
#ifndef QOM_RECORD_PACE_H
#define QOM_RECORD_PACE_H

#include <cstdint>

namespace qom::record {

// Times are steady_time().
class Pace {
 public:
  explicit Pace(double frames_per_second);

  void start(int64_t time) { start_ = time; }

  // Frames lie on a fixed grid, so that a player with the same rate shows each look in a frame of
  // its own; what is drawn in many steps has time to be finished.
  int64_t frame_after(int64_t time) const;

  // Counts a look at a changed picture that began at `begun` and was due at `due`.
  void looked(int64_t due, int64_t begun);

  // Whether a tenth of the pictures was missed, of all unless they are few or, once there are enough
  // of them, of those of any five seconds of changes.
  bool fell_behind() const;
  // The same without the judgement of a few pictures.
  bool surely_fell_behind() const { return behind_; }

  double rate_asked() const;
  // Pictures a second while the display changed.
  double rate_kept() const;
  uint64_t missed() const { return all_.missed; }

 private:
  struct Count {
    uint64_t looked = 0;
    uint64_t missed = 0;
    uint64_t frames() const { return looked + missed; }
  };
  static bool is_behind(const Count &count) { return count.missed * 10 > count.frames(); }

  int64_t period_;  // microseconds
  int64_t start_ = 0;
  Count all_;
  Count recent_;
  bool behind_ = false;
};

}  // namespace qom::record

#endif
