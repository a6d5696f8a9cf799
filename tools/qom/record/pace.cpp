#include "pace.h"

#include <algorithm>

#include "clock.h"

namespace qom::record {
namespace {

constexpr int64_t judged_stretch = 5 * second;
constexpr uint64_t fewest_frames = 5;  // that are judged
constexpr uint64_t fewest_missed = 5;  // of all

}  // namespace

Pace::Pace(double frames_per_second) : period_(static_cast<int64_t>(second / frames_per_second)) {}

int64_t Pace::frame_after(int64_t time) const {
  return start_ + ((time - start_) / period_ + 1) * period_;
}

void Pace::looked(int64_t due, int64_t begun) {
  const auto missed = static_cast<uint64_t>(std::max<int64_t>(0, begun - due) / period_);
  for (Count *count : {&all_, &recent_}) {
    count->looked++;
    count->missed += missed;
  }
  const uint64_t enough = std::max<uint64_t>(fewest_frames, judged_stretch / period_);
  if (recent_.frames() < enough) return;
  behind_ |= is_behind(recent_);
  recent_ = {};
}

bool Pace::fell_behind() const {
  return behind_ || (all_.missed >= fewest_missed && is_behind(all_));
}

double Pace::rate_asked() const {
  return static_cast<double>(second) / static_cast<double>(period_);
}

double Pace::rate_kept() const {
  if (all_.frames() == 0) return rate_asked();
  return rate_asked() * static_cast<double>(all_.looked) / static_cast<double>(all_.frames());
}

}  // namespace qom::record
