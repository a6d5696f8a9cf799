// A progress bar on standard error.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace qomtool {

// Shows how far a work has come, how fast it goes and how long it will take, from its first second
// on, when standard error is a terminal; takes the bar away when it ends. With QOM_PROGRESS=lines
// in the environment it writes lines like "progress 45", percent, in its place. Otherwise it does
// nothing.
class Progress {
 public:
  // What is counted, and how its speed is told.
  enum class Unit {
    records,        // and whatever else has no speed worth telling
    bytes,          // "12.3 MiB/s"
    pictures,       // "3.1/s"
    recorded_time,  // microseconds: "62.0x", times real time
  };

  // `total` is the amount at the end; with 0, bytes are counted and no end is known. Not `wanted`:
  // where the work itself prints to the terminal.
  Progress(std::string what, uint64_t total, Unit unit, bool wanted = true);
  ~Progress() { clear(); }
  Progress(const Progress &) = delete;
  Progress &operator=(const Progress &) = delete;

  void update(uint64_t done);
  // Takes the bar away until the next update, so that something else can be printed.
  void clear();

 private:
  using Clock = std::chrono::steady_clock;
  void draw(uint64_t done, double seconds);
  void draw_line(uint64_t done) const;

  std::string what_;
  uint64_t total_;
  Unit unit_;
  bool lines_;
  bool wanted_;
  bool shown_ = false;
  Clock::time_point begin_;
  Clock::time_point next_;  // not drawn before
};

}  // namespace qomtool
