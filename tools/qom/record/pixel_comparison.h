// Newly grabbed pixels beside those of the last picture.
#ifndef QOM_RECORD_PIXEL_COMPARISON_H
#define QOM_RECORD_PIXEL_COMPARISON_H

#include <cstring>

#include "picture.h"

namespace qom::record {

// Pixels are given by the address of the first one of some in a row.
class PixelComparison {
 public:
  explicit PixelComparison(const Picture &picture) : pixel_bytes_(picture.pixel_bytes()) {
    const uint64_t mask = picture.mask();
    const bool wide = pixel_bytes_ == sizeof(uint32_t);
    mask_ = Vector{} + mask * (wide ? 0x100000001u : 0x1000100010001u);
  }

  // Whether one of `count` grabbed pixels differs from the held one in a bit that is held. Held
  // pixels have no others.
  bool differ(const uint8_t *grabbed, const uint8_t *held, int count) const {
    const size_t bytes = count * pixel_bytes_;
    Vector found{};
    size_t i = 0;
    for (; i + sizeof found <= bytes; i += sizeof found) {
      found |= (load(grabbed + i) & mask_) ^ load(held + i);
    }
    for (; i < bytes; i += pixel_bytes_) {
      found |= (load_pixel(grabbed + i) & mask_) ^ load_pixel(held + i);
    }
    return (found[0] | found[1]) != 0;
  }

  // Whether `count` grabbed pixels all have the same colour.
  bool flat(const uint8_t *grabbed, int count) const {
    const size_t bytes = (count - 1) * pixel_bytes_;
    const uint8_t *next = grabbed + pixel_bytes_;
    Vector found{};
    size_t i = 0;
    for (; i + sizeof found <= bytes; i += sizeof found)
      found |= load(grabbed + i) ^ load(next + i);
    for (; i < bytes; i += pixel_bytes_) found |= load_pixel(grabbed + i) ^ load_pixel(next + i);
    found &= mask_;
    return (found[0] | found[1]) == 0;
  }

 private:
  typedef uint64_t Vector __attribute__((vector_size(16)));

  static Vector load(const uint8_t *from) {
    Vector value;
    std::memcpy(&value, from, sizeof value);
    return value;
  }

  Vector load_pixel(const uint8_t *from) const {
    uint32_t wide = 0;
    uint16_t narrow = 0;
    if (pixel_bytes_ == sizeof wide) {
      std::memcpy(&wide, from, sizeof wide);
    } else {
      std::memcpy(&narrow, from, sizeof narrow);
    }
    return Vector{wide | narrow, 0};
  }

  size_t pixel_bytes_;
  Vector mask_;  // of as many pixels as there are in it
};

}  // namespace qom::record

#endif
