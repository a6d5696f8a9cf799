#include "progress.h"

#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace qomtool {
namespace {

constexpr std::chrono::milliseconds kDelay{1000};
constexpr std::chrono::milliseconds kInterval{100};
constexpr int kWidth = 40;  // columns of the bar

}  // namespace

Progress::Progress(std::string what, uint64_t total, bool wanted)
    : what_(std::move(what)),
      total_(total),
      wanted_(wanted && isatty(STDERR_FILENO) == 1),
      next_(Clock::now() + kDelay) {}

void Progress::update(uint64_t done) {
  if (!wanted_) return;
  const Clock::time_point now = Clock::now();
  if (now < next_) return;
  next_ = now + kInterval;
  draw(done);
}

void Progress::draw(uint64_t done) {
  shown_ = true;
  if (total_ == 0) {
    std::fprintf(stderr, "\r%s %.1f MiB", what_.c_str(), static_cast<double>(done) / (1 << 20));
    return;
  }
  const double part = static_cast<double>(std::min(done, total_)) / static_cast<double>(total_);
  const int filled = static_cast<int>(part * kWidth);
  std::fprintf(stderr, "\r%s [%s%s] %3d %%", what_.c_str(),
               std::string(static_cast<size_t>(filled), '#').c_str(),
               std::string(static_cast<size_t>(kWidth - filled), '.').c_str(),
               static_cast<int>(part * 100));
}

void Progress::clear() {
  if (!shown_) return;
  std::fputs("\r\033[K", stderr);
  shown_ = false;
}

}  // namespace qomtool
