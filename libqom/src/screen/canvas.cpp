#include "screen/canvas.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/error.h"

namespace qom {

Canvas::~Canvas() {
  if (memory_ == &own_) std::free(picture_.pixels);
}

void Canvas::setup(PixelFormat format, const QomCanvas *callers) {
  picture_.pixel_format = format;
  if (callers) memory_ = callers;
}

bool Canvas::fits(unsigned width, unsigned height) const {
  const uint64_t pixel = pixel_format_bytes_per_pixel(picture_.pixel_format);
  return width > 0 && height > 0 && width <= QOM_MAX_SIDE && height <= QOM_MAX_SIDE &&
         uint64_t{width} * height * pixel <= QOM_MAX_DATA;
}

bool Canvas::resize(uint16_t width, uint16_t height) {
  if (width == picture_.width && height == picture_.height) return true;
  if (memory_->resize(memory_->context, width, height, &picture_) == 0) return true;
  errno = ENOMEM;
  set_error("out of memory for a screen of %ux%u pixels", width, height);
  return false;
}

void Canvas::blank() {
  std::memset(picture_.pixels, 0, bytes());
}

int Canvas::resize_own(void *, uint16_t width, uint16_t height, QomPicture *picture) {
  const size_t stride = width * pixel_format_bytes_per_pixel(picture->pixel_format);
  auto *pixels = static_cast<uint8_t *>(std::calloc(height, stride));
  if (!pixels) return -1;
  const size_t used = std::min(stride, picture->stride);
  for (size_t y = 0; y < std::min(height, picture->height); ++y)
    std::memcpy(pixels + y * stride, picture->pixels + y * picture->stride, used);
  std::free(picture->pixels);
  *picture = {width, height, picture->pixel_format, stride, pixels};
  return 0;
}

}  // namespace qom
