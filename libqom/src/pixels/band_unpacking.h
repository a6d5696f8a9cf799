// An image restored from bands of colours and of residuals; docs/format.md describes them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "base/used_up.h"
#include "pixels/band_form.h"
#include "pixels/progress.h"
#include "pixels/strip_unpacking.h"

namespace qom {

// Restores what BandPacker has written. Memory of the packed bytes is given back as they are read
// where both would be more than QOM_MAX_DATA: their contents are undefined afterwards.
class BandUnpacking {
 public:
  // An image of width x height pixels, without padding of rows. Both pointers must outlive the
  // object.
  BandUnpacking(uint8_t *packed, size_t packed_length, uint8_t *pixels, size_t width,
                size_t height);

  // Goes on until about so many pixels more are there; not to be called again once it does not
  // pause. Refuses bytes that are not what packing makes for this image.
  Progress go_on(size_t pixels);

 private:
  bool open();
  bool restore_band();
  bool restore_repeated(size_t rows);
  bool restore_plain(size_t rows);
  bool restore_colours(size_t rows);
  uint32_t colour(size_t number) const;
  // The colour that an index stands for, whose number may follow elsewhere.
  uint32_t colour_of(uint8_t index);
  uint8_t *row(size_t y) const { return pixels_ + y * stride_ + 4 * x_; }

  ByteReader packed_;
  uint8_t *pixels_;
  size_t width_;
  size_t height_;
  size_t stride_;
  bool uses_up_;

  StripReader strips_;
  ByteReader bands_{nullptr, 0};
  ByteReader indices_{nullptr, 0};
  ByteReader escapes_{nullptr, 0};
  UsedUp used_up_;  // indices
  const uint8_t *colours_ = nullptr;
  size_t colour_count_ = 0;
  uint32_t first_colours_[most_in_a_byte] = {};  // zero where there is none
  bool whole_;

  // Where the next band begins.
  size_t x_ = 0;
  size_t y_ = 0;
  size_t columns_ = 0;  // pixels of a row there
};

}  // namespace qom
