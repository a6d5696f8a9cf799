// What a check found wrong, told line by line.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "progress.h"

namespace qomtool {

// Prints each problem with its place and the times around it. The time after a problem is known
// only when the next sound record comes, so problems wait for it; at most `limit` are kept and
// printed, the others only counted.
class Findings {
 public:
  // `start` is the recording's start; `progress` is cleared before anything is printed.
  Findings(uint64_t start, size_t limit, Progress &progress)
      : start_(start), limit_(limit), time_(start), progress_(progress) {}

  void add(int64_t offset, uint64_t length, const std::string &what);
  // A sound record of this time was met.
  void pass(uint64_t time);
  // There are no more records: prints what waits, and how many were not printed.
  void finish();

  uint64_t count() const { return count_; }

 private:
  struct Problem {
    int64_t offset;
    uint64_t length;
    std::string what;
  };
  void print_waiting(const std::string &when);

  uint64_t start_;
  size_t limit_;
  uint64_t time_;  // of the last sound record
  Progress &progress_;
  uint64_t count_ = 0;
  uint64_t printed_ = 0;
  std::vector<Problem> waiting_;
};

}  // namespace qomtool
