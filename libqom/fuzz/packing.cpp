// Unpacks bytes as if zstd had just given them, and packs what they unpack to: the first two
// bytes are the length that the blocks should have, the rest is packed.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "pixels/packing.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 2) return 0;
  const size_t length = size_t{data[0]} << 8 | data[1];
  // Each is exactly as large as it says, so that the sanitizer sees a step outside.
  std::vector<uint8_t> bytes(data + 2, data + size);
  std::vector<uint8_t> blocks(length);
  if (!qom::unpack_blocks(bytes.data(), bytes.size(), blocks.data(), length)) return 0;
  qom::Packed packed;
  if (!qom::pack_blocks(blocks.data(), length, &packed)) return 0;
  std::vector<uint8_t> again(length);
  if (!qom::unpack_blocks(packed.bytes.data(), packed.bytes.size(), again.data(), length) ||
      again != blocks)
    std::abort();
  return 0;
}
