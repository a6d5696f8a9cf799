#include "faults.h"

#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <utility>

namespace {

struct {
  faults::Call call;
  size_t from;   // first call of this kind that fails, 0 for none
  size_t calls;  // of it so far
  int error;
} plan;
size_t trickle_bytes;
bool interrupt;
bool happened;
size_t largest;
size_t blocks;

// Whether this call has to fail; sets errno.
bool fails(faults::Call call) {
  if (plan.from == 0 || call != plan.call || ++plan.calls < plan.from) return false;
  happened = true;
  errno = plan.error;
  return true;
}

// What preadv2() and pwritev2() do, which nobody replaces. What trickles is the first part, and of
// it only as much as may.
template <typename Vector>
ssize_t transfer(faults::Call call, Vector *vector, int fd, const struct iovec *parts, int count,
                 off_t at) {
  interrupt = trickle_bytes != 0 && !interrupt;
  if (interrupt) errno = EINTR;
  if (interrupt || fails(call)) return -1;
  if (trickle_bytes == 0) return vector(fd, parts, count, at, 0);
  while (count > 1 && parts->iov_len == 0) ++parts, --count;
  const struct iovec part = {parts->iov_base, std::min(parts->iov_len, trickle_bytes)};
  return vector(fd, &part, 1, at, 0);
}

}  // namespace

extern "C" {

ssize_t writev(int fd, const struct iovec *parts, int count) {
  return transfer(faults::Call::write, pwritev2, fd, parts, count, -1);
}

int fdatasync(int fd) {
  return fails(faults::Call::sync) ? -1 : static_cast<int>(syscall(SYS_fdatasync, fd));
}

int fsync(int fd) {
  return fails(faults::Call::sync) ? -1 : static_cast<int>(syscall(SYS_fsync, fd));
}

ssize_t preadv(int fd, const struct iovec *parts, int count, off_t at) {
  return transfer(faults::Call::read, preadv2, fd, parts, count, at);
}

ssize_t pread(int fd, void *data, size_t length, off_t at) {
  const struct iovec part = {data, length};
  return preadv(fd, &part, 1, at);
}

#ifndef __SANITIZE_ADDRESS__
static void *count_block(void *memory) {
  if (memory) ++blocks;
  return memory;
}

void *__libc_malloc(size_t);
void *__libc_calloc(size_t, size_t);
void *__libc_realloc(void *, size_t);
void __libc_free(void *);

void *malloc(size_t size) {
  largest = std::max(largest, size);
  return fails(faults::Call::allocation) ? nullptr : count_block(__libc_malloc(size));
}

void *calloc(size_t count, size_t size) {
  return fails(faults::Call::allocation) ? nullptr : count_block(__libc_calloc(count, size));
}

void *realloc(void *old, size_t size) {
  largest = std::max(largest, size);
  if (fails(faults::Call::allocation)) return nullptr;
  return old ? __libc_realloc(old, size) : count_block(__libc_realloc(old, size));
}

void free(void *memory) {
  if (memory) --blocks;
  __libc_free(memory);
}
#endif

}  // extern "C"

namespace faults {

void fail(Call call, size_t n, int error) {
  plan = {call, n, 0, error};
}

void trickle(size_t bytes) {
  trickle_bytes = bytes;
}

bool clear() {
  plan = {};
  trickle_bytes = largest = 0;
  return std::exchange(happened, false);
}

size_t largest_allocation() {
  return largest;
}

size_t open_files() {
  const std::filesystem::directory_iterator files("/proc/self/fd");
  return static_cast<size_t>(std::distance(begin(files), end(files)));
}

size_t allocated() {
  return blocks;
}

}  // namespace faults
