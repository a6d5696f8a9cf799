// Rectangles of 32-bit pixels as bands: colours by their numbers, column by column, since letters
// then repeat as a whole; plain and repeated rows; and residuals, where pixels look like a
// photograph.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/array.h"
#include "pixels/band_form.h"
#include "pixels/strip_packing.h"

namespace qom {

// The colours met so far, found by hashing, and how often each was.
class Palette {
 public:
  bool start();

  // The number of a colour, which is new or not; most_colours when there is no room.
  size_t find_or_add(uint32_t pixel);
  size_t count() const { return colours_.size(); }
  uint32_t colour(size_t number) const { return colours_[number]; }
  // Forgets the colours from a number on.
  void truncate(size_t count);

 private:
  static constexpr uint32_t free_slot = 0xFFFFFFFF;

  size_t slot_of(uint32_t pixel) const;
  bool grow();

  Array<uint32_t> colours_;
  Array<uint32_t> slots_;  // numbers of colours; as many as a power of two
  unsigned shift_ = 0;
};

class BandPacker {
 public:
  // Takes in an image from a column, a multiple of column_width, up to another one; `stride` bytes
  // lie from a row to the next. False when memory is short.
  bool add(const uint8_t *pixels, size_t stride, size_t begin, size_t end, size_t height);

  // How many of its pixels are stored as residuals.
  size_t residual_pixels() const { return residual_pixels_; }

  const StripPacker &strips() const { return strips_; }

  // Numbers the colours, once everything was added. False when memory is short.
  bool finish();
  // What write() writes after the residuals of the strips.
  size_t bytes() const;
  void write(uint8_t *to) const;

 private:
  struct Band;
  struct Column;

  bool add_column(const Column &column);
  bool add_band(const Column &column, const Band &band);
  bool add_colours(const Column &column, const Band &band);
  size_t colour_limit(const Column &column, const Band &band);
  bool push_band(const Band &band);

  StripPacker strips_;
  size_t residual_pixels_ = 0;
  Palette palette_;
  Array<uint8_t> bands_;
  Array<uint16_t> numbers_;  // of colours, of plain bands and of those of colours
  Array<uint32_t> colours_;  // in their final order
  Array<uint8_t> indices_;   // their numbers
  Array<uint8_t> escapes_;   // those that do not fit
  Array<uint32_t> seen_;     // hashes of columns of pixels
};

}  // namespace qom
