// Where the picture of a screen lies: memory of its own, or of a caller.
#pragma once

#include <cstdint>

#include "qom/screen.h"

namespace qom {

class Canvas {
 public:
  Canvas() = default;
  ~Canvas();
  Canvas(const Canvas &) = delete;
  Canvas &operator=(const Canvas &) = delete;

  // `callers` lives longer than this; null: memory of its own.
  void setup(PixelFormat format, const QomCanvas *callers);

  const QomPicture &picture() const { return picture_; }
  size_t bytes() const { return picture_.stride * picture_.height; }

  // Whether a picture may have that size: sides up to QOM_MAX_SIDE, QOM_MAX_DATA bytes in all.
  bool fits(unsigned width, unsigned height) const;

  // Gives the picture a size that fits; the common part stays at the top left, the rest is 0.
  // False with the reason and the old picture when memory is short.
  bool resize(uint16_t width, uint16_t height);

  // All pixels 0.
  void blank();

 private:
  static int resize_own(void *canvas, uint16_t width, uint16_t height, QomPicture *picture);

  QomPicture picture_ = {};
  QomCanvas own_ = {resize_own, nullptr};
  const QomCanvas *memory_ = &own_;
};

}  // namespace qom
