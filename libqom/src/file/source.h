// Where a recording's bytes come from: a file, memory or functions of the caller, read at an
// offset into memory of our own; and a window for sequential access. Never mmap, so that a file
// that shrinks is an error and not a signal.
#pragma once

#include <sys/types.h>
#include <sys/uio.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "qom/qom.h"

namespace qom {

class Source {
 public:
  Source() = default;
  Source(const Source &) = delete;
  Source &operator=(const Source &) = delete;
  virtual ~Source() = default;

  // Size in bytes when it was opened, or less since shrink().
  uint64_t size() const { return size_; }

  // Whether a read may cost much more than the bytes that it brings, as over a network.
  virtual bool far() const { return false; }

  // Finds out whether there is less than when it was opened; what came since does not count.
  virtual void shrink() {}

  // Returns 0, or -1 with errno. Closing twice does nothing.
  virtual int close() { return 0; }

  // Reads exactly `length` bytes. False with the reason: errno for a failed read, errno 0 when
  // the source ends before.
  bool read(uint64_t position, void *data, size_t length) const;

  // Reads `least` to `most` bytes, as many as there are; 0 with the reason when there are fewer.
  size_t read_some(uint64_t position, void *data, size_t least, size_t most) const;

  // Reads into the parts one behind the other; changes them.
  bool read_parts(uint64_t position, struct iovec *parts, int count) const;

 protected:
  void set_size(uint64_t size) { size_ = size; }

 private:
  // Reads once into the parts: how many bytes, at most those asked for; 0 at the end; -1 with
  // errno.
  virtual ssize_t read_once(uint64_t position, const struct iovec *parts, int count) const = 0;

  uint64_t size_ = 0;
};

class File : public Source {
 public:
  File() = default;
  File(const File &) = delete;
  File &operator=(const File &) = delete;
  ~File() override;

  // Opens a regular file. False with errno and the reason.
  bool open(const char *path);
  void shrink() override;
  int close() override;

 private:
  ssize_t read_once(uint64_t position, const struct iovec *parts, int count) const override;

  int fd_ = -1;
};

// Bytes that belong to the caller and stay as they are.
class Memory : public Source {
 public:
  Memory(const void *bytes, size_t length) : bytes_(static_cast<const uint8_t *>(bytes)) {
    set_size(length);
  }

 private:
  ssize_t read_once(uint64_t position, const struct iovec *parts, int count) const override;

  const uint8_t *bytes_;
};

// Functions of the caller, whose answers are not believed.
class Functions : public Source {
 public:
  // Asks for the size. False with errno and the reason.
  bool open(const QomSource &functions);
  bool far() const override { return true; }
  int close() override;

 private:
  ssize_t read_once(uint64_t position, const struct iovec *parts, int count) const override;

  QomSource functions_ = {};
};

// A stretch of the source kept in memory for reading many small pieces in order.
class Window {
 public:
  static constexpr size_t capacity = size_t{256} * 1024;

  // Holds at most `room` bytes.
  explicit Window(const Source *source, size_t room = capacity) : source_(source), room_(room) {}

  size_t room() const { return room_; }

  // Whether the bytes are in memory already.
  bool holds(uint64_t position, size_t length) const {
    return position >= start_ && length <= used_ && position - start_ <= used_ - length;
  }

  // The bytes [position, position + length), length at most room(); valid until the next call.
  // Reads ahead, but not beyond `end` when that lies behind them. Null with the reason when they
  // cannot be read.
  const uint8_t *at(uint64_t position, size_t length, uint64_t end = UINT64_MAX);

  // Bytes that at() can give behind `position` without another read; at least 1 after a
  // successful at(position, 1).
  size_t available(uint64_t position) const {
    return holds(position, 1) ? static_cast<size_t>(start_ + used_ - position) : 0;
  }

  // Copies bytes: from memory where they are held, otherwise by one read of their own. False with
  // the reason.
  bool copy(uint64_t position, void *data, size_t length) const;

  // Forgets what it holds.
  void drop() { used_ = 0; }

 private:
  bool make_room(size_t length);
  size_t keep_from(uint64_t position);

  const Source *source_;
  size_t room_;
  size_t allocated_ = 0;
  std::unique_ptr<uint8_t[]> bytes_;
  uint64_t start_ = 0;
  size_t used_ = 0;
};

}  // namespace qom
