#include "file/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "base/error.h"

namespace qom {
namespace {

// Moves past `done` bytes; returns the number of parts that are finished.
int advance(struct iovec *parts, int count, size_t done) {
  int finished = 0;
  while (finished < count && done >= parts[finished].iov_len) done -= parts[finished++].iov_len;
  if (finished < count) {
    parts[finished].iov_base = static_cast<uint8_t *>(parts[finished].iov_base) + done;
    parts[finished].iov_len -= done;
  }
  return finished;
}

}  // namespace

File::~File() {
  close();
}

bool File::open(const char *path) {
  // Non-blocking, so that a FIFO without a writer does not hold us up.
  fd_ = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (fd_ < 0) {
    set_system_error("cannot open the file");
    return false;
  }
  struct stat status;
  if (fstat(fd_, &status) != 0) {
    set_system_error("cannot look at the file");
    return false;
  }
  if (S_ISDIR(status.st_mode)) {
    errno = EISDIR;
    set_system_error("cannot open the file");
    return false;
  }
  if (!S_ISREG(status.st_mode)) return QOM_REFUSE(false, "not a regular file");
  size_ = static_cast<uint64_t>(status.st_size);
  return true;
}

int File::close() {
  const int fd = fd_;
  fd_ = -1;
  return fd < 0 ? 0 : ::close(fd);
}

bool File::read(uint64_t position, void *data, size_t length) const {
  struct iovec part = {data, length};
  return read_parts(position, &part, 1);
}

size_t File::read_some(uint64_t position, void *data, size_t least, size_t most) const {
  ssize_t got;
  do got = pread(fd_, data, most, static_cast<off_t>(position));
  while (got < 0 && errno == EINTR);
  const size_t done = got > 0 ? static_cast<size_t>(got) : 0;
  if (done >= least) return done;
  return read(position + done, static_cast<uint8_t *>(data) + done, least - done) ? least : 0;
}

bool File::read_parts(uint64_t position, struct iovec *parts, int count) const {
  for (;;) {
    const int finished = advance(parts, count, 0);
    parts += finished;
    count -= finished;
    if (count == 0) return true;
    const ssize_t got = preadv(fd_, parts, count, static_cast<off_t>(position));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      set_system_error("cannot read at offset %llu", static_cast<unsigned long long>(position));
      return false;
    }
    if (got == 0)
      return QOM_REFUSE(false, "the file ends at offset %llu, in the middle of a record",
                        static_cast<unsigned long long>(position));
    const int done = advance(parts, count, static_cast<size_t>(got));
    parts += done;
    count -= done;
    position += static_cast<uint64_t>(got);
  }
}

const uint8_t *Window::at(uint64_t position, size_t length) {
  if (holds(position, length)) return bytes_.get() + (position - start_);
  if (!bytes_) bytes_.reset(new (std::nothrow) uint8_t[capacity]);
  if (!bytes_) {
    errno = ENOMEM;
    set_error("out of memory for reading");
    return nullptr;
  }
  used_ = 0;
  const uint64_t left = position < file_.size() ? file_.size() - position : 0;
  const size_t wanted = std::max(length, static_cast<size_t>(std::min<uint64_t>(left, capacity)));
  // What is read ahead may be gone when the file was cut since it was opened.
  used_ = file_.read_some(position, bytes_.get(), length, std::min(wanted, capacity));
  if (used_ == 0) return nullptr;
  start_ = position;
  return bytes_.get();
}

}  // namespace qom
