// Image blocks of 32-bit pixels restated in fewer bytes before they are compressed: few colours
// as indices into a palette, many as differences of neighbouring pixels. The bytes are described
// in docs/format.md.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qom {

// The most bytes that blocks of `length` bytes are packed into. Packing differences saves nothing
// yet, and costs a few bytes for each group of blocks; zstd makes up for it.
constexpr size_t most_packed(size_t length) {
  return length + length / 16 + 64;
}

struct Packed {
  uint8_t *bytes = nullptr;   // from malloc, the caller's; null when packing does not apply
  size_t length = 0;          // at most most_packed()
  bool photographic = false;  // mostly differences
};

// Packs the blocks. Nothing comes back when they are not blocks of 32-bit pixels, when they are
// so many and small that packing makes them larger, or when memory is short: they can be compressed
// as they are.
Packed pack_blocks(const uint8_t *blocks, size_t length);

// Restores exactly `length` bytes of blocks. False when the packed bytes are not what
// pack_blocks() makes for that length.
bool unpack_blocks(const uint8_t *packed, size_t packed_length, uint8_t *blocks, size_t length);

}  // namespace qom
