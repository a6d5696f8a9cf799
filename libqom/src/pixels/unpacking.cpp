#include <cstring>

#include "base/bytes.h"
#include "base/used_up.h"
#include "pixels/packed_form.h"
#include "pixels/packing.h"
#include "pixels/residuals.h"
#include "qom/qom.h"

namespace qom {
namespace {

// Where the pixels of a block go. `stride` bytes lie between the beginnings of two rows.
struct Target {
  uint8_t *pixels;
  size_t stride;
};

// The colours of a group, also two at a time: what a byte of few colours stands for. One for all
// groups, of which there may be millions: what a group sets must not cost more than its own bytes.
struct Colours {
  uint32_t one[most_many] = {};
  uint64_t two[256];
  size_t count = 0;

  void set(const uint8_t *stored, size_t stored_count) {
    if (stored_count < count)
      std::memset(one + stored_count, 0, (count - stored_count) * sizeof *one);
    std::memcpy(one, stored, stored_count * sizeof *one);
    count = stored_count;
  }

  void pair() {
    for (size_t byte = 0; byte < 256; ++byte)
      two[byte] = one[byte & 15] | uint64_t{one[byte >> 4]} << 32;
  }
};

// The packed bytes of groups, and how far their memory has been given back.
struct Source {
  ByteReader bytes;
  bool uses_up;
  UsedUp groups;  // whole ones
  UsedUp pixels;  // of the group that is being read; what is in front of them is still needed
  ResidualReader residual_reader;
  Colours colours;
};

// Below, looking up single colours takes less time than pairing them.
constexpr uint64_t least_paired = 256;

bool is_worth_pairing(const uint8_t *heads, size_t count) {
  uint64_t pixels = 0;
  for (size_t i = 0; i < count && pixels < least_paired; ++i)
    pixels += load<BlockHead>(heads + sizeof(BlockHead) * i).pixels();
  return pixels >= least_paired;
}

bool unpack_few_single(Source &packed, const Colours &colours, BlockHead block, Target to) {
  const size_t row_bytes = (size_t{block.width} + 1) / 2;
  const uint8_t *from = packed.bytes.take(row_bytes * block.height);
  if (!from) return false;
  for (unsigned y = 0; y < block.height; ++y, from += row_bytes, to.pixels += to.stride) {
    packed.pixels.up_to(from);
    for (size_t x = 0; x < block.width; ++x)
      std::memcpy(to.pixels + 4 * x, &colours.one[from[x / 2] >> (x % 2 * 4) & 15], 4);
  }
  return true;
}

bool unpack_few(Source &packed, const Colours &colours, BlockHead block, Target to) {
  const size_t row_bytes = (size_t{block.width} + 1) / 2;
  const uint8_t *from = packed.bytes.take(row_bytes * block.height);
  if (!from) return false;
  for (unsigned y = 0; y < block.height; ++y, from += row_bytes, to.pixels += to.stride) {
    packed.pixels.up_to(from);
    for (size_t i = 0; i < block.width / 2u; ++i)
      std::memcpy(to.pixels + size_t{8} * i, &colours.two[from[i]], 8);
    if (block.width % 2)
      std::memcpy(to.pixels + size_t{4} * (block.width - 1u), &colours.two[from[row_bytes - 1]], 4);
  }
  return true;
}

bool unpack_many(Source &packed, const Colours &colours, BlockHead block, Target to) {
  const uint8_t *from = packed.bytes.take(block.pixels());
  if (!from) return false;
  for (unsigned y = 0; y < block.height; ++y, from += block.width, to.pixels += to.stride) {
    packed.pixels.up_to(from);
    for (size_t x = 0; x < block.width; ++x)
      std::memcpy(to.pixels + 4 * x, &colours.one[from[x]], 4);
  }
  return true;
}

// One group. `place(head)` says where the next block goes, with no pixels when it must not be.
// Indices without a colour in the palette give zero pixels.
template <typename Place>
bool unpack_group(Source &packed, Place place) {
  const auto method = packed.bytes.get<uint8_t>();
  const size_t colour_count = size_t{packed.bytes.get<uint8_t>()} + 1;
  const auto count = packed.bytes.get<uint16_t>();
  const uint8_t *heads = packed.bytes.take(sizeof(BlockHead) * count);
  if (!heads || count == 0) return false;
  Colours &colours = packed.colours;
  if (method != residuals) {
    const uint8_t *stored = packed.bytes.take(4 * colour_count);
    if (!stored) return false;
    colours.set(stored, colour_count);
  }
  const bool paired = method == few_colours && is_worth_pairing(heads, count);
  if (paired) colours.pair();
  if (packed.uses_up) packed.pixels.start(packed.bytes.next());
  for (size_t i = 0; i < count; ++i) {
    const auto block = load<BlockHead>(heads + sizeof(BlockHead) * i);
    const Target to = place(block);
    if (!to.pixels) return false;
    const bool unpacked =
        paired                   ? unpack_few(packed, colours, block, to)
        : method == few_colours  ? unpack_few_single(packed, colours, block, to)
        : method == many_colours ? unpack_many(packed, colours, block, to)
        : method == residuals
            ? packed.residual_reader.unpack(block.width, block.height, to.pixels, to.stride)
            : false;
    if (!unpacked) return false;
  }
  return true;
}

// All groups, whose blocks have to have used everything up.
template <typename Place>
bool unpack_groups(const uint8_t *packed, size_t packed_length, size_t unpacked_length,
                   Place place) {
  const bool use_up = packed_length + unpacked_length > QOM_MAX_DATA;
  Source source = {{packed, packed_length}, use_up, {}, {}, {}, {}};
  if (!source.residual_reader.open(source.bytes, use_up)) return false;
  if (use_up) source.groups.start(source.bytes.next());
  while (source.bytes.left() > 0) {
    if (!unpack_group(source, place)) return false;
    source.groups.up_to(source.bytes.next());
  }
  return source.bytes.ok() && source.residual_reader.finished();
}

}  // namespace

bool unpack_blocks(uint8_t *packed, size_t packed_length, uint8_t *blocks, size_t length) {
  size_t offset = 0;
  const auto place = [&](BlockHead block) -> Target {
    const size_t left = length - offset;
    if (left < sizeof block || block.pixels() == 0 || block.pixels() > (left - sizeof block) / 4)
      return {};
    std::memcpy(blocks + offset, &block, sizeof block);
    uint8_t *pixels = blocks + offset + sizeof block;
    offset += sizeof block + 4 * block.pixels();
    return {pixels, 4 * size_t{block.width}};
  };
  return unpack_groups(packed, packed_length, length, place) && offset == length;
}

bool unpack_image(uint8_t *packed, size_t packed_length, uint8_t *pixels, unsigned width,
                  unsigned height) {
  Tiles tiles(width, height);
  const size_t stride = 4 * size_t{width};
  const auto place = [&](BlockHead block) -> Target {
    if (tiles.finished()) return {};
    const BlockHead tile = tiles.next();
    if (std::memcmp(&tile, &block, sizeof tile) != 0) return {};
    return {pixels + static_cast<size_t>(tile.y) * stride + 4 * static_cast<size_t>(tile.x),
            stride};
  };
  return unpack_groups(packed, packed_length, stride * height, place) && tiles.finished();
}

}  // namespace qom
