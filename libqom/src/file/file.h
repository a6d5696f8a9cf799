// Reading a recording's file: positioned reads into memory of our own, and a window for
// sequential access. Never mmap, so that a file that shrinks is an error and not a signal.
#pragma once

#include <sys/uio.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace qom {

class File {
 public:
  File() = default;
  File(const File &) = delete;
  File &operator=(const File &) = delete;
  ~File();

  // Opens a regular file. False with errno and the reason.
  bool open(const char *path);
  // Returns 0, or -1 with errno. Closing twice does nothing.
  int close();

  // Size in bytes when it was opened.
  uint64_t size() const { return size_; }

  // Reads exactly `length` bytes. False with the reason: errno for a failed read, errno 0 when
  // the file ends before.
  bool read(uint64_t position, void *data, size_t length) const;

  // Reads `least` to `most` bytes, as many as there are; 0 with the reason when there are fewer.
  size_t read_some(uint64_t position, void *data, size_t least, size_t most) const;

  // Reads into the parts one behind the other; changes them.
  bool read_parts(uint64_t position, struct iovec *parts, int count) const;

 private:
  int fd_ = -1;
  uint64_t size_ = 0;
};

// A stretch of the file kept in memory for reading many small pieces in order.
class Window {
 public:
  static constexpr size_t capacity = size_t{256} * 1024;

  explicit Window(const File &file) : file_(file) {}

  // Whether the bytes are in memory already.
  bool holds(uint64_t position, size_t length) const {
    return position >= start_ && length <= used_ && position - start_ <= used_ - length;
  }

  // The bytes [position, position + length), length at most `capacity`; valid until the next
  // call. Null with the reason when they cannot be read.
  const uint8_t *at(uint64_t position, size_t length);

  // Bytes that at() can give behind `position` without another read; at least 1 after a
  // successful at(position, 1).
  size_t available(uint64_t position) const {
    return holds(position, 1) ? static_cast<size_t>(start_ + used_ - position) : 0;
  }

  // Forgets what it holds.
  void drop() { used_ = 0; }

 private:
  const File &file_;
  std::unique_ptr<uint8_t[]> bytes_;
  uint64_t start_ = 0;
  size_t used_ = 0;
};

}  // namespace qom
