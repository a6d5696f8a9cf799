// CRC32C (Castagnoli), the checksum of file heads and frames.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qom {

// A CRC over bytes that arrive in pieces.
class Crc32c {
 public:
  Crc32c &add(const void *data, size_t length);
  uint32_t value() const { return state_ ^ 0xFFFFFFFFu; }

 private:
  uint32_t state_ = 0xFFFFFFFFu;
};

inline uint32_t crc32c(const void *data, size_t length) {
  return Crc32c().add(data, length).value();
}

}  // namespace qom
