// The changes of the picture, one after the other.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "engine.h"

namespace qompython {

struct Change {
  std::optional<uint64_t> time;  // microseconds since the epoch
  std::vector<QomRectangle> rectangles;
  Period known;  // from the change before
  bool trusted;
};

// Called as the functions of Engine are. Has a screen of its own, so that it neither disturbs other
// moves nor is disturbed by them.
class Changes {
 public:
  // From `from` to `to`, both included. The engine must live longer.
  Changes(Engine &engine, uint64_t from, uint64_t to);
  ~Changes();
  Changes(const Changes &) = delete;
  Changes &operator=(const Changes &) = delete;

  // The next change, without a time at the end. The rectangles are those outside of which the
  // picture is as it was at the change before, or just before `from`.
  Change next();

 private:
  void begin();
  void go(uint64_t time);
  void compare(const QomPicture &picture, const QomRectangle &area);

  Engine &engine_;
  QomScreen *screen_;  // the engine's; it is gone when that is closed
  uint64_t last_;      // time up to which the changes have been told
  uint64_t to_;
  bool begun_ = false;
  uint16_t width_ = 0;  // of the picture that the caller knows
  uint16_t height_ = 0;
  std::vector<uint32_t> known_;          // its pixels
  std::vector<QomRectangle> different_;  // from it
};

}  // namespace qompython
