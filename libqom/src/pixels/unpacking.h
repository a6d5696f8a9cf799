// Packed pixels restored part by part; docs/format.md describes the packed bytes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "base/used_up.h"
#include "pixels/packed_form.h"
#include "pixels/progress.h"
#include "pixels/residuals.h"
#include "pixels/strip_unpacking.h"

namespace qom {

// Where rows of pixels go. `stride` bytes lie between the beginnings of two rows.
struct Target {
  uint8_t *pixels;
  size_t stride;
};

// Memory for all that packed bytes give, which takes in one block after the other.
class Destination {
 public:
  // Blocks end to end, exactly `length` bytes.
  Destination(uint8_t *blocks, size_t length);

  // An image of width x height pixels.
  Destination(uint8_t *pixels, unsigned width, unsigned height);

  // Where the pixels of the next block go; none when it does not belong there.
  Target next(BlockHead block);

  // Whether all of it was taken.
  bool full() const { return is_image_ ? tiles_.finished() : left_ == 0; }

  // Bytes in all.
  size_t length() const { return length_; }

 private:
  Target next_block(BlockHead block);
  Target next_tile(BlockHead block);

  bool is_image_;
  uint8_t *at_;  // the next block, or the image
  size_t length_;
  size_t left_;  // bytes that no block has taken
  Tiles tiles_;
  size_t stride_;
};

// The colours of a group, also two at a time: what a byte of few colours stands for. One for all
// groups, of which there may be millions: what a group sets must not cost more than its own bytes.
struct Colours {
  uint32_t one[most_many] = {};
  uint64_t two[256];
  size_t count = 0;

  void set(const uint8_t *stored, size_t stored_count);
  void pair();
};

// Restores what pack_blocks() or pack_image() has packed. Memory of the packed bytes is given back
// as they are read where both would be more than QOM_MAX_DATA: their contents are undefined
// afterwards.
class Unpacking {
 public:
  // What both point to must outlive the object.
  Unpacking(PackedForm form, uint8_t *packed, size_t packed_length, const Destination &destination);

  // Goes on until about so many pixels more are there; not to be called again once it does not
  // pause. Refuses bytes that are not what packing makes for this destination.
  Progress go_on(size_t pixels);

 private:
  // Whether anything is left to be read.
  bool is_left() const { return rows_left_ > 0 || blocks_left_ > 0 || bytes_.left() > 0; }
  bool begin_group();
  bool begin_block();
  bool restore_rows(size_t count);
  bool open_residuals();
  bool residuals_finished() const;

  Destination destination_;
  ByteReader bytes_;
  bool uses_up_;
  UsedUp groups_;  // whole ones
  UsedUp pixels_;  // of the group that is being read; what is in front of them is still needed
  PackedForm form_;
  ResidualReader residual_reader_;
  StripReader strip_reader_;
  bool whole_;  // the residuals are all there

  // The group that is being read.
  uint8_t method_ = 0;
  bool paired_ = false;
  const uint8_t *heads_ = nullptr;  // of the blocks that have not begun
  unsigned blocks_left_ = 0;        // as many
  Colours colours_;

  // The block that is being read.
  BlockHead block_ = {};
  size_t rows_left_ = 0;
  Target to_ = {};
};

}  // namespace qom
