// Programs that run beside the test.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

// Asks again and again, for 20 s at most, until `condition` holds; false when it does not.
bool eventually(const std::function<bool()> &condition);

// A process; killed at the end when it still runs.
class Process {
 public:
  // What it prints goes to a pipe. `prepare` runs in the child before the program.
  explicit Process(
      const std::vector<std::string> &command, const std::function<void()> &prepare = [] {});
  ~Process();
  Process(const Process &) = delete;
  Process &operator=(const Process &) = delete;

  void signal(int number) const;
  bool has_ended() const;
  // Reads on until the output holds `text`; false when it ends before.
  bool prints(const std::string &text);
  // Waits for the end: the exit status, or 128 and the signal's number.
  int wait();
  const std::string &output() const { return output_; }
  // Bytes that it had in use at most, known when it has been waited for.
  size_t memory() const { return memory_; }

 private:
  bool read_some();

  pid_t id_;
  int pipe_;
  bool ended_ = false;
  std::string output_;
  size_t memory_ = 0;
};
