#include "progress.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "formatted.h"

namespace qomtool {
namespace {

constexpr std::chrono::milliseconds kDelay{1000};
constexpr std::chrono::milliseconds kInterval{100};
constexpr int kWidth = 30;  // columns of the bar

std::string speed_text(Progress::Unit unit, double per_second) {
  switch (unit) {
    case Progress::Unit::bytes:
      return formatted("  %.1f MiB/s", per_second / (1 << 20));
    case Progress::Unit::pictures:
      return formatted("  %.1f/s", per_second);
    case Progress::Unit::recorded_time:
      return formatted("  %.1fx", per_second / 1e6);
    default:
      return "";
  }
}

// "1:02:03 left"
std::string left_text(double seconds) {
  constexpr double most = 99 * 3600.0;
  const long whole = std::lround(std::min(seconds, most));
  return formatted("  %ld:%02ld:%02ld left", whole / 3600, whole / 60 % 60, whole % 60);
}

// For a program that shows how far it is in its own way.
bool lines_wanted() {
  const char *wish = std::getenv("QOM_PROGRESS");
  return wish && std::strcmp(wish, "lines") == 0;
}

}  // namespace

Progress::Progress(std::string what, uint64_t total, Unit unit, bool wanted)
    : what_(std::move(what)),
      total_(total),
      unit_(unit),
      lines_(lines_wanted()),
      wanted_(lines_ || (wanted && isatty(STDERR_FILENO) == 1)),
      begin_(Clock::now()),
      next_(begin_ + kDelay) {}

void Progress::update(uint64_t done) {
  if (!wanted_) return;
  const Clock::time_point now = Clock::now();
  if (now < next_) return;
  next_ = now + kInterval;
  draw(done, std::chrono::duration<double>(now - begin_).count());
}

void Progress::draw(uint64_t done, double seconds) {
  if (lines_) return draw_line(done);
  shown_ = true;
  const double amount = static_cast<double>(done);
  if (total_ == 0) {
    std::fprintf(stderr, "\r%s %.1f MiB%s\033[K", what_.c_str(), amount / (1 << 20),
                 speed_text(unit_, amount / seconds).c_str());
    return;
  }
  const double part = std::min(1.0, amount / static_cast<double>(total_));
  const auto filled = static_cast<size_t>(part * kWidth);
  std::fprintf(stderr, "\r%s [%s%s] %3d %%%s%s\033[K", what_.c_str(),
               std::string(filled, '#').c_str(), std::string(kWidth - filled, '.').c_str(),
               static_cast<int>(part * 100), speed_text(unit_, amount / seconds).c_str(),
               part > 0 ? left_text(seconds * (1 - part) / part).c_str() : "");
}

void Progress::draw_line(uint64_t done) const {
  if (total_ == 0) return;
  const double part = std::min(1.0, static_cast<double>(done) / static_cast<double>(total_));
  std::fprintf(stderr, "progress %d\n", static_cast<int>(part * 100));
}

void Progress::clear() {
  if (!shown_) return;
  std::fputs("\r\033[K", stderr);
  shown_ = false;
}

}  // namespace qomtool
