// Rows of 32-bit pixels as differences from the pixel to the left, byte by byte, modulo 256:
// photo-like pictures compress to about half of what they do as they are.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace qom {

// Writes the differences of `length` bytes in rows of `row_bytes` (a multiple of 4); the
// destination may be the source.
inline void to_left_differences(const uint8_t *raw, uint8_t *differences, size_t length,
                                size_t row_bytes) {
  for (size_t row = 0; row < length; row += row_bytes) {
    const uint8_t *from = raw + row;
    uint8_t *to = differences + row;
    for (size_t i = row_bytes; i-- > 4;) to[i] = static_cast<uint8_t>(from[i] - from[i - 4]);
    std::memmove(to, from, std::min<size_t>(row_bytes, 4));
  }
}

// Replaces the differences of one row by its pixels: a running sum, four pixels at a time.
inline void undo_left_differences(uint8_t *row, size_t row_bytes) {
  typedef uint8_t Pixels __attribute__((vector_size(16)));
  const Pixels zero = {};
  Pixels carry = {};
  size_t i = 0;
  for (; i + sizeof(Pixels) <= row_bytes; i += sizeof(Pixels)) {
    Pixels sum;
    std::memcpy(&sum, row + i, sizeof sum);
    sum += __builtin_shufflevector(zero, sum, 0, 1, 2, 3, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25,
                                   26, 27);
    sum +=
        __builtin_shufflevector(zero, sum, 0, 1, 2, 3, 4, 5, 6, 7, 16, 17, 18, 19, 20, 21, 22, 23);
    sum += carry;
    std::memcpy(row + i, &sum, sizeof sum);
    carry = __builtin_shufflevector(sum, sum, 12, 13, 14, 15, 12, 13, 14, 15, 12, 13, 14, 15, 12,
                                    13, 14, 15);
  }
  for (i = std::max<size_t>(i, 4); i < row_bytes; ++i)
    row[i] = static_cast<uint8_t>(row[i] + row[i - 4]);
}

}  // namespace qom
