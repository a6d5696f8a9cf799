// A progress bar on standard error.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace qomtool {

// Shows how far a work has come, from its first second on, when standard error is a terminal; takes
// the bar away when it ends. Otherwise it does nothing.
class Progress {
 public:
  // `total` is the amount at the end, in any unit; with 0, bytes are counted and no end is known.
  // Not `wanted`: where the work itself prints to the terminal.
  Progress(std::string what, uint64_t total, bool wanted = true);
  ~Progress() { clear(); }
  Progress(const Progress &) = delete;
  Progress &operator=(const Progress &) = delete;

  void update(uint64_t done);
  // Takes the bar away until the next update, so that something else can be printed.
  void clear();

 private:
  using Clock = std::chrono::steady_clock;
  void draw(uint64_t done);

  std::string what_;
  uint64_t total_;
  bool wanted_;
  bool shown_ = false;
  Clock::time_point next_;  // not drawn before
};

}  // namespace qomtool
