#include "findings.h"

#include <cinttypes>
#include <cstdio>

#include "clock.h"
#include "counted.h"
#include "text/quote.h"

namespace qomtool {

void Findings::add(int64_t offset, uint64_t length, const std::string &what) {
  ++count_;
  if (printed_ + waiting_.size() < limit_) waiting_.push_back({offset, length, what});
}

void Findings::pass(uint64_t time) {
  if (!waiting_.empty()) {
    print_waiting("between " + elapsed_time(start_, time_) + " and " + elapsed_time(start_, time));
  }
  time_ = time;
}

void Findings::finish() {
  print_waiting("after " + elapsed_time(start_, time_));
  if (count_ > printed_) {
    progress_.clear();
    std::printf("%s not listed (--limit)\n",
                counted(count_ - printed_, "more is", "more are").c_str());
  }
}

void Findings::print_waiting(const std::string &when) {
  if (!waiting_.empty()) progress_.clear();
  for (const Problem &problem : waiting_) {
    std::printf("offset %" PRId64 ", %s, %s: %s\n", problem.offset,
                counted(problem.length, "byte").c_str(), when.c_str(),
                printable(problem.what).c_str());
  }
  printed_ += waiting_.size();
  waiting_.clear();
}

}  // namespace qomtool
