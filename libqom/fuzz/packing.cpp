// Unpacks bytes as if zstd had just given them, at once and in parts, and packs what they unpack
// to: the first two bytes are the length that the blocks should have and, as their highest bit, the
// form; the rest is packed.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "pixels/packing.h"
#include "pixels/unpacking.h"

namespace {

using Bytes = std::vector<uint8_t>;

// About so many pixels at a time.
bool unpack(qom::PackedForm form, Bytes &packed, size_t pixels, Bytes *blocks) {
  using qom::Progress;
  qom::Unpacking unpacking(form, packed.data(), packed.size(), {blocks->data(), blocks->size()});
  Progress progress = Progress::paused;
  while (progress == Progress::paused) progress = unpacking.go_on(pixels);
  return progress == Progress::done;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 2) return 0;
  const size_t length = (size_t{data[0]} << 8 | data[1]) & 0x7FFF;
  const auto form = data[0] & 0x80 ? qom::PackedForm::strips : qom::PackedForm::kinds;
  // Each is exactly as large as it says, so that the sanitizer sees a step outside.
  Bytes bytes(data + 2, data + size);
  Bytes blocks(length);
  Bytes again(length);
  const bool unpacked = unpack(form, bytes, SIZE_MAX, &blocks);
  if (unpack(form, bytes, 1 + length % 64, &again) != unpacked) std::abort();
  if (!unpacked) return 0;
  if (again != blocks) std::abort();
  qom::Packed packed;
  if (!qom::pack_blocks(blocks.data(), length, &packed)) return 0;
  bytes.assign(packed.bytes.begin(), packed.bytes.end());
  again.assign(length, 0);
  const auto packed_form = packed.strips > 0 ? qom::PackedForm::strips : qom::PackedForm::kinds;
  if (!unpack(packed_form, bytes, SIZE_MAX, &again) || again != blocks) std::abort();
  return 0;
}
