// The SHA-256 of a file's bytes, found beside other work.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "descriptor.h"

namespace qomtool {

class FileHash {
 public:
  using Value = std::array<uint8_t, 32>;

  // Opens the file and begins to read its first `length` bytes, in a thread of its own.
  FileHash(const std::string &path, uint64_t length);
  // Ends the work where it stands.
  ~FileHash();
  FileHash(const FileHash &) = delete;
  FileHash &operator=(const FileHash &) = delete;

  // Bytes read so far.
  uint64_t done() const { return done_; }
  // Waits a moment for the end; whether it has come.
  bool wait_a_moment() const;
  // Waits for it; nothing with the reason in *why when the file cannot be read.
  std::optional<Value> value(std::string *why);

 private:
  void run();

  Descriptor file_;
  uint64_t length_;
  std::vector<uint8_t> piece_;  // that is being read; made before the thread, which must not throw
  std::atomic<uint64_t> done_ = 0;
  std::atomic<bool> finished_ = false;
  std::atomic<bool> unwanted_ = false;
  Value value_ = {};
  std::string error_;
  std::thread thread_;
};

}  // namespace qomtool
