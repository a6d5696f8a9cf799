// Stands between a program and its X server, and changes what the server answers.
#ifndef QOM_RECORD_TESTS_LYING_SERVER_H
#define QOM_RECORD_TESTS_LYING_SERVER_H

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "forge.h"

// The first two bytes of a request: the major opcode, and an extension's minor one.
using Request = std::array<uint8_t, 2>;

// A reply on its way, or the description of the server at the beginning (of no request).
struct Answer {
  Request request;     // what was asked
  forge::Bytes bytes;  // its length field stands for itself: it may be cut
  bool last = false;   // nothing is told after it

  template <class Integer>
  void put(size_t at, Integer value) {
    forge::put(&bytes, at, value);
  }
};

// For one connection.
class LyingServer {
 public:
  // `lie` runs in another thread for each answer of the server `display`.
  LyingServer(const std::string &display, std::function<void(Answer &)> lie);
  ~LyingServer();
  LyingServer(const LyingServer &) = delete;
  LyingServer &operator=(const LyingServer &) = delete;

  // The display for programs to connect to.
  const std::string &name() const { return name_; }

 private:
  void run();
  bool introduce();
  bool pass_on_requests();
  bool pass_on_answers();
  bool pass_on_answer(Request request, size_t size, bool truly);

  std::string name_;
  std::function<void(Answer &)> lie_;
  int listener_;
  int server_;
  int client_ = -1;
  forge::Bytes asked_;    // not looked at yet
  forge::Bytes answers_;  // not passed on yet
  uint16_t sequence_ = 0;
  std::vector<Request> requests_;  // by sequence number
  bool silent_ = false;
  std::atomic<bool> released_ = false;
  std::thread thread_;
};

#endif
