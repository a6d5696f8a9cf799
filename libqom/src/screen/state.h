// The state of a recorded screen, and how each record changes it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "base/records.h"
#include "base/shared_bytes.h"
#include "qom/screen.h"
#include "screen/canvas.h"
#include "screen/damage.h"
#include "screen/pause.h"
#include "screen/region.h"

namespace qom {

// Bytes that a state and its snapshots hold together; none at first.
class Shared {  // NOLINT(cppcoreguidelines-special-member-functions): operator= moves as well
 public:
  Shared() = default;
  ~Shared() { shared_bytes_release(bytes_); }
  Shared(const Shared &other) : bytes_(other.bytes_) {
    if (bytes_) ++bytes_->holders;
  }
  Shared(Shared &&other) noexcept : bytes_(other.bytes_) { other.bytes_ = nullptr; }
  Shared &operator=(Shared other) noexcept {
    SharedBytes *mine = bytes_;
    bytes_ = other.bytes_;
    other.bytes_ = mine;
    return *this;
  }

  // Holds a copy of those bytes, or what it holds already when they are equal. False with the
  // reason when memory is short.
  bool hold(const void *data, size_t size);
  void clear() { *this = Shared(); }

  const char *data() const { return bytes_ ? bytes_->data() : nullptr; }
  size_t size() const { return bytes_ ? sizeof(SharedBytes) + bytes_->size : 0; }
  bool operator==(const Shared &other) const { return bytes_ == other.bytes_; }
  explicit operator bool() const { return bytes_ != nullptr; }

 private:
  SharedBytes *bytes_ = nullptr;
};

// A cursor over a screen.
struct Cursor {
  QomCursorImage image = {};  // its data lies in `pixels`
  Shared pixels;              // none: no cursor
  int32_t x = 0;              // of the image's top-left corner, which may be beside the screen
  int32_t y = 0;

  QomRectangle rectangle() const { return {x, y, image.width, image.height}; }
};

// All of a state but its picture.
struct Attributes {
  Cursor cursor;
  Region lossy;                  // areas of the picture
  Shared texts[QOM_TEXT_COUNT];  // each with its terminating zero
};

struct UncompressionEnd {
  void operator()(QomUncompression *begun) const { qom_uncompression_end(begun); }
};

// What applying a record came to.
enum class Applied { whole, paused, failed };

// Uncompresses a bounded part more. Returns as qom_uncompression_go_on(): 1 with the pixels, 0 when
// there is more to do, -1 with the reason.
int go_on(QomUncompression *uncompression, RecordPtr<QomRecord> *pixels);

class State {
 public:
  using Draw = void (*)(void *context, const QomImage *image, const QomPicture *picture);

  // The screen at the start of a recording. False with the reason when memory is short or the
  // screen too large.
  bool setup(const QomHeader *header, const QomScreenOptions &options);

  // The screen at the start, whatever it was.
  bool reset();

  // Applies a record, which stays the caller's and has to live until it is applied. `more_sizes`:
  // another change of the size comes before anything needs the picture. After a pause within blocks
  // the same record goes on. Failed with the reason: the record's pixels cannot be had, its blocks
  // reach past their data (those before stay), its size is not allowed, or memory is short.
  Applied apply(const QomRecord *record, bool more_sizes, const Pause &pause);

  // Gives the pixels of the compressed image that is applied next, which then are not uncompressed.
  void offer(RecordPtr<QomRecord> pixels) { offered_ = std::move(pixels); }

  // Gives the picture the size that changes of the size passed over have left it. False as above.
  bool settle();

  // Whether a record is applied in part.
  bool is_within_record() const { return uncompression_ || blocks_; }

  // Gives up the rest of a record.
  void leave_record();

  // Prepares for a picture of another size that is written as a whole.
  bool become(uint16_t width, uint16_t height);

  // Marks all of the picture as changed.
  void touch();

  // Whether something was drawn.
  bool has_picture() const { return has_picture_; }
  void set_has_picture(bool has) { has_picture_ = has; }

  Canvas canvas;
  Attributes attributes;
  Damage damage;

 private:
  void draw(const QomImage *image);
  void copy(const QomCopyArea *area);
  void mark(const QomRecord *compressed);
  Applied uncompress(const QomRecord *compressed, const Pause &pause, RecordPtr<QomRecord> *pixels);
  Applied draw_compressed(const QomRecord *compressed, const Pause &pause);
  Applied draw_compressed_blocks(const QomRecord *compressed, const Pause &pause);
  Applied draw_blocks(const Pause &pause);
  bool change_size(const QomScreenChange *change, bool more_sizes);
  bool set_cursor(const QomCursorImage *image);
  void move_cursor(int32_t x, int32_t y);
  bool set_text(QomScreenText text, const char *value);

  const QomHeader *header_ = nullptr;
  const uint32_t *palette_ = nullptr;
  uint32_t own_palette_[QOM_PALETTE_SIZE];
  Draw draw_ = nullptr;
  void *context_ = nullptr;
  bool has_picture_ = false;

  // Of a record that is applied in part: what is being uncompressed, or else what is being drawn.
  std::unique_ptr<QomUncompression, UncompressionEnd> uncompression_;
  RecordPtr<QomImageBlocks> blocks_;
  size_t offset_ = 0;  // bytes of them that are drawn

  RecordPtr<QomRecord> offered_;

  // While the picture waits for the last of several changes of the size.
  uint16_t waiting_width_ = 0;  // the screen's size; 0: the picture has it
  uint16_t waiting_height_ = 0;
  uint16_t left_width_ = 0;  // what all of them have left of the picture
  uint16_t left_height_ = 0;
};

}  // namespace qom
