#include "base/checksum.h"

#include <isa-l/crc.h>

#include <algorithm>

namespace qom {

Crc32c &Crc32c::add(const void *data, size_t length) {
  auto bytes = static_cast<const unsigned char *>(data);
  while (length > 0) {
    // The library takes an int and, though it only reads, a pointer to non-const.
    const size_t piece = std::min<size_t>(length, size_t{1} << 30);
    state_ = crc32_iscsi(const_cast<unsigned char *>(bytes), static_cast<int>(piece), state_);
    bytes += piece;
    length -= piece;
  }
  return *this;
}

}  // namespace qom
