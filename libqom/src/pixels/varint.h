// Numbers of one to five bytes, seven bits in each, the lowest first; the highest bit of a byte
// says that there is another one.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/bytes.h"

namespace qom {

inline size_t varint_bytes(size_t number) {
  size_t bytes = 1;
  while (number >>= 7) ++bytes;
  return bytes;
}

inline void put_varint(ByteWriter &writer, size_t number) {
  for (; number >= 128; number >>= 7) writer.put(static_cast<uint8_t>(number | 128));
  writer.put(static_cast<uint8_t>(number));
}

// False when it is cut off or longer.
inline bool get_varint(ByteReader &reader, size_t *number) {
  *number = 0;
  for (unsigned shift = 0; shift < 35; shift += 7) {
    const uint8_t byte = reader.get<uint8_t>();
    *number |= size_t{byte & 127u} << shift;
    if (byte < 128) return reader.ok();
  }
  return false;
}

}  // namespace qom
