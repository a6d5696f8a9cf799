#include "pixels/unpacking.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/error.h"
#include "qom/qom.h"

namespace qom {
namespace {

// Below, looking up single colours takes less time than pairing them.
constexpr uint64_t least_paired = 256;

// What beginning a block takes, as if it were pixels.
constexpr size_t pixels_of_head = 2;

bool is_worth_pairing(const uint8_t *heads, size_t count) {
  uint64_t pixels = 0;
  for (size_t i = 0; i < count && pixels < least_paired; ++i)
    pixels += load<BlockHead>(heads + sizeof(BlockHead) * i).pixels();
  return pixels >= least_paired;
}

// Rows of a block that are stored as colours.
struct Rows {
  ByteReader &bytes;
  UsedUp &used_up;
  const Colours &colours;
  size_t width;
  size_t count;
  Target to;
};

Progress refuse() {
  return QOM_REFUSE(Progress::failed, "packed pixels that do not give the blocks they should");
}

bool unpack_few_single(Rows rows) {
  const size_t row_bytes = (rows.width + 1) / 2;
  const uint8_t *from = rows.bytes.take(row_bytes * rows.count);
  if (!from) return false;
  for (size_t y = 0; y < rows.count; ++y, from += row_bytes, rows.to.pixels += rows.to.stride) {
    rows.used_up.up_to(from);
    for (size_t x = 0; x < rows.width; ++x)
      std::memcpy(rows.to.pixels + 4 * x, &rows.colours.one[from[x / 2] >> (x % 2 * 4) & 15], 4);
  }
  return true;
}

bool unpack_few(Rows rows) {
  const size_t row_bytes = (rows.width + 1) / 2;
  const uint8_t *from = rows.bytes.take(row_bytes * rows.count);
  if (!from) return false;
  for (size_t y = 0; y < rows.count; ++y, from += row_bytes, rows.to.pixels += rows.to.stride) {
    rows.used_up.up_to(from);
    for (size_t i = 0; i < rows.width / 2; ++i)
      std::memcpy(rows.to.pixels + 8 * i, &rows.colours.two[from[i]], 8);
    if (rows.width % 2)
      std::memcpy(rows.to.pixels + 4 * (rows.width - 1), &rows.colours.two[from[row_bytes - 1]], 4);
  }
  return true;
}

bool unpack_many(Rows rows) {
  const uint8_t *from = rows.bytes.take(rows.width * rows.count);
  if (!from) return false;
  for (size_t y = 0; y < rows.count; ++y, from += rows.width, rows.to.pixels += rows.to.stride) {
    rows.used_up.up_to(from);
    for (size_t x = 0; x < rows.width; ++x)
      std::memcpy(rows.to.pixels + 4 * x, &rows.colours.one[from[x]], 4);
  }
  return true;
}

}  // namespace

Destination::Destination(uint8_t *blocks, size_t length)
    : is_image_(false), at_(blocks), length_(length), left_(length), tiles_(0, 0), stride_(0) {}

Destination::Destination(uint8_t *pixels, unsigned width, unsigned height)
    : is_image_(true),
      at_(pixels),
      length_(size_t{4} * width * height),
      left_(0),
      tiles_(width, height),
      stride_(size_t{4} * width) {}

Target Destination::next(BlockHead block) {
  return is_image_ ? next_tile(block) : next_block(block);
}

Target Destination::next_block(BlockHead block) {
  if (left_ < sizeof block || block.pixels() == 0 || block.pixels() > (left_ - sizeof block) / 4)
    return {};
  std::memcpy(at_, &block, sizeof block);
  const Target target = {at_ + sizeof block, 4 * size_t{block.width}};
  const size_t bytes = sizeof block + 4 * block.pixels();
  at_ += bytes;
  left_ -= bytes;
  return target;
}

Target Destination::next_tile(BlockHead block) {
  if (tiles_.finished()) return {};
  const BlockHead tile = tiles_.next();
  if (std::memcmp(&tile, &block, sizeof tile) != 0) return {};
  return {at_ + static_cast<size_t>(tile.y) * stride_ + 4 * static_cast<size_t>(tile.x), stride_};
}

void Colours::set(const uint8_t *stored, size_t stored_count) {
  if (stored_count < count)
    std::memset(one + stored_count, 0, (count - stored_count) * sizeof *one);
  std::memcpy(one, stored, stored_count * sizeof *one);
  count = stored_count;
}

void Colours::pair() {
  for (size_t byte = 0; byte < 256; ++byte)
    two[byte] = one[byte & 15] | uint64_t{one[byte >> 4]} << 32;
}

Unpacking::Unpacking(PackedForm form, uint8_t *packed, size_t packed_length,
                     const Destination &destination)
    : destination_(destination),
      bytes_(packed, packed_length),
      uses_up_(packed_length + destination.length() > QOM_MAX_DATA),
      form_(form),
      whole_(open_residuals()) {
  if (uses_up_ && whole_) groups_.start(bytes_.next());
}

bool Unpacking::open_residuals() {
  return form_ == PackedForm::strips ? strip_reader_.open(bytes_, uses_up_)
                                     : residual_reader_.open(bytes_, uses_up_);
}

bool Unpacking::residuals_finished() const {
  return form_ == PackedForm::strips ? strip_reader_.finished() : residual_reader_.finished();
}

Progress Unpacking::go_on(size_t pixels) {
  for (size_t restored = 0; whole_ && is_left();) {
    if (rows_left_ == 0 && !begin_block()) return refuse();
    const size_t width = block_.width;
    const size_t wanted = pixels - restored;
    const size_t most = (wanted / width / cell_height + 1) * cell_height;
    const size_t rows = std::min(rows_left_, most);
    if (!restore_rows(rows)) return refuse();
    restored += pixels_of_head + rows * width;
    if (restored >= pixels && is_left()) return Progress::paused;
  }
  const bool all = whole_ && bytes_.ok() && residuals_finished() && destination_.full();
  return all ? Progress::done : refuse();
}

// Indices without a colour in the palette give zero pixels.
bool Unpacking::begin_group() {
  groups_.up_to(bytes_.next());
  method_ = bytes_.get<uint8_t>();
  const size_t colour_count = size_t{bytes_.get<uint8_t>()} + 1;
  blocks_left_ = bytes_.get<uint16_t>();
  heads_ = bytes_.take(sizeof(BlockHead) * blocks_left_);
  if (!heads_ || blocks_left_ == 0) return false;
  if (method_ != residuals) {
    const uint8_t *stored = bytes_.take(4 * colour_count);
    if (!stored) return false;
    colours_.set(stored, colour_count);
  }
  paired_ = method_ == few_colours && is_worth_pairing(heads_, blocks_left_);
  if (paired_) colours_.pair();
  if (uses_up_) pixels_.start(bytes_.next());
  return true;
}

bool Unpacking::begin_block() {
  if (blocks_left_ == 0 && !begin_group()) return false;
  block_ = load<BlockHead>(heads_);
  heads_ += sizeof block_;
  --blocks_left_;
  to_ = destination_.next(block_);
  rows_left_ = block_.height;
  return to_.pixels != nullptr;
}

bool Unpacking::restore_rows(size_t count) {
  const size_t row = block_.height - rows_left_;
  const Target to = {to_.pixels + row * to_.stride, to_.stride};
  rows_left_ -= count;
  if (method_ == residuals && form_ == PackedForm::strips)
    return strip_reader_.unpack(block_.width, count, to.pixels, to.stride, row > 0);
  if (method_ == residuals)
    return residual_reader_.unpack(block_.width, count, to.pixels, to.stride, row > 0);
  const Rows rows = {bytes_, pixels_, colours_, block_.width, count, to};
  if (paired_) return unpack_few(rows);
  if (method_ == few_colours) return unpack_few_single(rows);
  return method_ == many_colours && unpack_many(rows);
}

}  // namespace qom
