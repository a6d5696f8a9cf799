// Memory that has been read for the last time, given back page by page while the rest is still
// needed: pixels and what they are restored from need not both be there whole.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

namespace qom {

class UsedUp {
 public:
  // Bytes from `begin` on, private memory; with null nothing is given back.
  void start(const uint8_t *begin) { begin_ = begin; }

  // The bytes in front of `end` are not read again; they become undefined.
  void up_to(const uint8_t *end) {
    constexpr std::ptrdiff_t worth_a_call = std::ptrdiff_t{256} * 1024;
    if (begin_ && end - begin_ >= worth_a_call) give_back(end);
  }

 private:
  void give_back(const uint8_t *end) {
    const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const uint8_t *from = begin_ + (page - reinterpret_cast<uintptr_t>(begin_) % page) % page;
    const uint8_t *to = end - reinterpret_cast<uintptr_t>(end) % page;
    if (from >= to) return;
    madvise(const_cast<uint8_t *>(from), static_cast<size_t>(to - from), MADV_DONTNEED);
    begin_ = to;
  }

  const uint8_t *begin_ = nullptr;
};

}  // namespace qom
