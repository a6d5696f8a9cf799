#include "file/source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
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

// Copies `length` bytes, at most as many as fit, into the parts one behind the other.
void scatter(const uint8_t *bytes, size_t length, const struct iovec *parts) {
  for (; length > 0; ++parts) {
    const size_t piece = std::min(length, parts->iov_len);
    if (piece > 0) std::memcpy(parts->iov_base, bytes, piece);
    bytes += piece;
    length -= piece;
  }
}

size_t total(const struct iovec *parts, int count) {
  size_t bytes = 0;
  for (int i = 0; i < count; ++i) bytes += parts[i].iov_len;
  return bytes;
}

}  // namespace

// --- all sources -----------------------------------------------------------------------------

bool Source::read(uint64_t position, void *data, size_t length) const {
  struct iovec part = {data, length};
  return read_parts(position, &part, 1);
}

size_t Source::read_some(uint64_t position, void *data, size_t least, size_t most) const {
  const struct iovec part = {data, most};
  const ssize_t got = read_once(position, &part, 1);
  const size_t done = got > 0 ? static_cast<size_t>(got) : 0;
  if (done >= least) return done;
  return read(position + done, static_cast<uint8_t *>(data) + done, least - done) ? least : 0;
}

bool Source::read_parts(uint64_t position, struct iovec *parts, int count) const {
  for (;;) {
    const int finished = advance(parts, count, 0);
    parts += finished;
    count -= finished;
    if (count == 0) return true;
    const ssize_t got = read_once(position, parts, count);
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

// --- files -----------------------------------------------------------------------------------

File::~File() {
  File::close();
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
  set_size(static_cast<uint64_t>(status.st_size));
  return true;
}

void File::shrink() {
  struct stat status;
  if (fstat(fd_, &status) == 0) set_size(std::min(size(), static_cast<uint64_t>(status.st_size)));
}

int File::close() {
  const int fd = fd_;
  fd_ = -1;
  return fd < 0 ? 0 : ::close(fd);
}

ssize_t File::read_once(uint64_t position, const struct iovec *parts, int count) const {
  ssize_t got;
  do got = preadv(fd_, parts, count, static_cast<off_t>(position));
  while (got < 0 && errno == EINTR);
  return got;
}

// --- memory ----------------------------------------------------------------------------------

ssize_t Memory::read_once(uint64_t position, const struct iovec *parts, int count) const {
  if (position >= size()) return 0;
  const size_t length =
      static_cast<size_t>(std::min<uint64_t>(size() - position, total(parts, count)));
  scatter(bytes_ + position, length, parts);
  return static_cast<ssize_t>(length);
}

// --- functions of the caller -----------------------------------------------------------------

bool Functions::open(const QomSource &functions) {
  errno = 0;
  const int64_t size = functions.size(functions.context);
  if (size < 0) {
    if (errno == 0) errno = EIO;
    set_system_error("cannot get the size of the recording");
    return false;
  }
  functions_ = functions;
  set_size(static_cast<uint64_t>(size));
  return true;
}

int Functions::close() {
  const auto close = functions_.close;
  functions_.close = nullptr;
  return close ? close(functions_.context) : 0;
}

// One call for all parts: it may be a request over a network.
ssize_t Functions::read_once(uint64_t position, const struct iovec *parts, int count) const {
  const size_t length = total(parts, count);
  std::unique_ptr<uint8_t[]> gathered;
  if (count > 1) {
    gathered.reset(new (std::nothrow) uint8_t[length]);
    if (!gathered) {
      errno = ENOMEM;
      return -1;
    }
  }
  void *bytes = gathered ? gathered.get() : parts->iov_base;
  errno = 0;
  const int64_t got = functions_.read(functions_.context, position, bytes, length);
  if (got < 0 || static_cast<uint64_t>(got) > length) {
    if (got > 0 || errno == 0) errno = EIO;
    return -1;
  }
  if (gathered) scatter(gathered.get(), static_cast<size_t>(got), parts);
  return static_cast<ssize_t>(got);
}

// --- a stretch of a source -------------------------------------------------------------------

bool Window::make_room(size_t length) {
  if (length <= allocated_) return true;
  std::unique_ptr<uint8_t[]> bytes(new (std::nothrow) uint8_t[length]);
  if (!bytes) {
    errno = ENOMEM;
    set_error("out of memory for reading");
    return false;
  }
  if (used_ > 0) std::memcpy(bytes.get(), bytes_.get(), used_);
  bytes_ = std::move(bytes);
  allocated_ = length;
  return true;
}

// Moves what is held from `position` on to the start; returns how many bytes that are.
size_t Window::keep_from(uint64_t position) {
  const size_t kept = available(position);
  if (kept > 0) std::memmove(bytes_.get(), bytes_.get() + (used_ - kept), kept);
  start_ = position;
  return used_ = kept;
}

const uint8_t *Window::at(uint64_t position, size_t length, uint64_t end) {
  if (holds(position, length)) return bytes_.get() + (position - start_);
  const uint64_t limit = std::min(end, source_->size());
  const uint64_t left = position < limit ? limit - position : 0;
  const size_t wanted = std::max(length, static_cast<size_t>(std::min<uint64_t>(left, room_)));
  if (!make_room(wanted)) return nullptr;
  const size_t kept = keep_from(position);
  // What is read ahead may be gone when the file was cut since it was opened.
  const size_t got =
      source_->read_some(position + kept, bytes_.get() + kept, length - kept, wanted - kept);
  used_ = got == 0 ? 0 : kept + got;
  return got == 0 ? nullptr : bytes_.get();
}

bool Window::copy(uint64_t position, void *data, size_t length) const {
  if (!holds(position, length)) return source_->read(position, data, length);
  if (length > 0) std::memcpy(data, bytes_.get() + (position - start_), length);
  return true;
}

}  // namespace qom
