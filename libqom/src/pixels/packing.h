// Pixels of 32 bits restated in fewer bytes before they are compressed: blocks of few colours as
// indices into a palette, of many as residuals. The bytes are described in docs/format.md; they are
// restored in unpacking.h.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/array.h"
#include "pixels/packed_form.h"

namespace qom {

// The most bytes that blocks or an image of `length` bytes are packed into. Residuals save nothing
// yet, and cost a few bytes for each group of blocks; zstd makes up for it.
constexpr size_t most_packed(size_t length) {
  return length + length / 16 + 64;
}

// The most bytes that so many packed ones can give: those of few colours, two pixels in a byte,
// cells of strips without residuals, or bands of repeated rows.
constexpr size_t most_unpacked(PackedForm form, size_t packed_length) {
  return (form == PackedForm::kinds ? 8 : form == PackedForm::strips ? 128 : 16384) * packed_length;
}

struct Packed {
  Array<uint8_t> bytes;  // at most most_packed()
  PackedForm form = PackedForm::kinds;
  size_t strips = 0;    // bytes of residuals in front that lie in strips
  Array<size_t> seams;  // where bytes of another kind begin in them, which compress better apart
};

// Packs image blocks. False when they are not blocks of 32-bit pixels, when they are so many and
// small that packing makes them larger, or when memory is short: they can be compressed as they
// are.
bool pack_blocks(const uint8_t *blocks, size_t length, Packed *packed);

// Packs an image of width x height pixels of 32 bits, rows without padding. False as above.
bool pack_image(const uint8_t *pixels, unsigned width, unsigned height, Packed *packed);

// The same as bands, which takes longer and makes less of text. False as above, and when most of
// the image looks like a photograph, which pack_image() does better.
bool pack_bands(const uint8_t *pixels, unsigned width, unsigned height, Packed *packed);

}  // namespace qom
