// Pixels of which parts are lossy: stills, places whose exact pixels come from one, and exact
// pixels. docs/format.md describes the bytes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/array.h"
#include "base/bytes.h"
#include "pixels/packed_form.h"
#include "pixels/progress.h"
#include "pixels/stills.h"
#include "qom/qom.h"

namespace qom {

// Parts of a record at most.
constexpr size_t most_lossy_parts = 65536;

// A rectangle whose pixels are lossy, as it lies in the file. Of image blocks the place is one on
// the screen, of an image one within the image.
struct LossyPart {
  BlockHead place;
  uint32_t length;  // bytes of its still; 0: its pixels are among the exact ones
};
static_assert(sizeof(LossyPart) == 12);

// The stored bytes of lossy pixels, taken apart. They have to stay.
class LossyForm {
 public:
  // False with the reason when they cannot be what is stored of `raw_length` bytes of pixels, of an
  // image of width x height or (0 x 0) of blocks. Nothing is allocated.
  bool open(const uint8_t *stored, size_t length, size_t raw_length, unsigned width,
            unsigned height);

  PixelFormat format() const { return format_; }
  size_t count() const { return count_; }
  LossyPart part(size_t i) const { return load<LossyPart>(parts_ + i * sizeof(LossyPart)); }
  const uint8_t *stills() const { return stills_; }  // end to end

  // Bytes of the blocks that the stills give; of an image, whose stills lie on it, 0.
  size_t still_bytes() const { return still_bytes_; }

  // The exact pixels: codec and bytes; none when the codec is 0.
  uint8_t exact_codec() const { return exact_codec_; }
  const uint8_t *exact() const { return exact_; }
  size_t exact_length() const { return exact_length_; }

 private:
  bool check_parts(size_t left, size_t raw_length, unsigned width, unsigned height);

  PixelFormat format_ = FORMAT_UNKNOWN;
  uint8_t exact_codec_ = 0;
  size_t count_ = 0;
  const uint8_t *parts_ = nullptr;
  const uint8_t *stills_ = nullptr;
  size_t still_bytes_ = 0;
  const uint8_t *exact_ = nullptr;
  size_t exact_length_ = 0;
};

// The form of a record of lossy pixels, and what has to be added to the places of its parts to have
// those on the screen. False for every other record, also null.
bool lossy_form_of(const QomRecord *record, LossyForm *form, int32_t *x, int32_t *y);

// Lossy pixels that are put together: parts, stills, and at last exact ones.
class LossyBytes {
 public:
  explicit LossyBytes(PixelFormat format) : format_(format) {}

  // A still of pixels whose rows are `stride` bytes apart. `*smaller` is false, and nothing is
  // added, when it would not be smaller than they are. False with the reason.
  bool add_still(BlockHead place, const uint8_t *pixels, size_t stride, int quality, bool *smaller);

  // A place whose exact pixels come from a still. False when memory is short.
  bool add_mark(BlockHead place) { return parts_.push({place, 0}); }

  bool full() const { return parts_.size() == most_lossy_parts; }
  size_t count() const { return parts_.size(); }

  // Bytes of all but the exact pixels, and what they are.
  size_t length() const { return 8 + parts_.size() * sizeof(LossyPart) + stills_.size(); }
  void write(uint8_t exact_codec, uint8_t *to) const;

 private:
  PixelFormat format_;
  Array<LossyPart> parts_;
  Array<uint8_t> stills_;
};

// Restores the stills of a form part by part: blocks from `pixels` on, or on an image there.
class StillsUnpacking {
 public:
  // `stride`: of the image, bytes; 0 for blocks. What the form points to has to stay.
  StillsUnpacking(const LossyForm &form, uint8_t *pixels, size_t stride)
      : form_(form), next_still_(form.stills()), pixels_(pixels), stride_(stride) {}

  // Goes on until about so many bytes of pixels more are there; not to be called again once it does
  // not pause.
  Progress go_on(size_t bytes);

 private:
  bool begin_part(LossyPart part);

  LossyForm form_;
  size_t next_ = 0;  // part
  const uint8_t *next_still_;
  uint8_t *pixels_;  // of blocks: the next one
  size_t stride_;

  // The still that is restored.
  Still still_;
  size_t width_ = 0;
  size_t rows_left_ = 0;
  uint8_t *to_ = nullptr;
  size_t to_stride_ = 0;
};

}  // namespace qom
