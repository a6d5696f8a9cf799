#include "picture.h"

#include <cstring>

namespace qom::record {
namespace {

// Written so that the compiler turns a whole cell's row into a few vector instructions.
template <class Pixel>
bool differs(const Pixel *grabbed, const Pixel *held, int count, Pixel mask) {
  Pixel difference = 0;
  for (int i = 0; i < count; i++) difference |= static_cast<Pixel>((grabbed[i] & mask) ^ held[i]);
  return difference != 0;
}

template <class Pixel>
void take_over(const Pixel *grabbed, Pixel *held, int count, Pixel mask) {
  for (int i = 0; i < count; i++) held[i] = grabbed[i] & mask;
}

}  // namespace

Picture::Picture(int width, int height, PixelFormat display, PixelFormat recording)
    : width_(width),
      height_(height),
      recording_(recording),
      pixel_bytes_(pixel_format_bytes_per_pixel(display)),
      stride_(width * pixel_bytes_),
      mask_(kept_bits(display, recording)),
      convert_(row_converter(display, recording)),
      same_format_(display == recording),
      pixels_(stride_ * height) {}

template <class Pixel>
void Picture::update_pixels(const Grab &grab, CellMap &changed) {
  const int cell_width = changed.cell_width();
  const int right = grab.area.x + grab.area.width;
  const Pixel mask = static_cast<Pixel>(mask_);
  for (int row = 0; row < grab.area.height; row++) {
    const int y = grab.area.y + row;
    const auto *grabbed = reinterpret_cast<const Pixel *>(grab.pixels + row * grab.stride);
    auto *held = reinterpret_cast<Pixel *>(pixels_.data() + y * stride_) + grab.area.x;
    const int cell_row = y / changed.cell_height();
    for (int x = grab.area.x; x < right; x += cell_width) {
      const int count = std::min(cell_width, right - x);
      if (differs(grabbed, held, count, mask)) {
        changed.mark_cell(x / cell_width, cell_row);
        take_over(grabbed, held, count, mask);
      }
      grabbed += count;
      held += count;
    }
  }
}

void Picture::update(const Grab &grab, CellMap &changed) {
  if (pixel_bytes_ == sizeof(uint32_t)) {
    update_pixels<uint32_t>(grab, changed);
  } else {
    update_pixels<uint16_t>(grab, changed);
  }
}

void Picture::copy(const Copy &copy) {
  const Rectangle &from = copy.from;
  const bool down = copy.to_y > from.y;
  for (int i = 0; i < from.height; i++) {
    const int row = down ? from.height - 1 - i : i;
    uint8_t *to = pixels_.data() + (copy.to_y + row) * stride_ + copy.to_x * pixel_bytes_;
    std::memmove(to, pixels(from.x, from.y + row), from.width * pixel_bytes_);
  }
}

uint32_t Picture::encoded_stride(int width) const {
  const auto bits = static_cast<uint8_t>(8 * pixel_format_bytes_per_pixel(recording_));
  return stride_in_bytes(static_cast<uint32_t>(width), bits, recorded_scanline_pad);
}

size_t Picture::encoded_size(const Rectangle &area) const {
  return static_cast<size_t>(encoded_stride(area.width)) * area.height;
}

void Picture::encode(const Rectangle &area, uint8_t *to) const {
  const size_t to_stride = encoded_stride(area.width);
  const size_t row_bytes = area.width * pixel_format_bytes_per_pixel(recording_);
  for (int row = 0; row < area.height; row++) {
    const uint8_t *from = pixels_.data() + (area.y + row) * stride_ + area.x * pixel_bytes_;
    if (same_format_) {
      std::memcpy(to, from, row_bytes);
    } else {
      convert_(from, area.width, to);
    }
    std::memset(to + row_bytes, 0, to_stride - row_bytes);
    to += to_stride;
  }
}

}  // namespace qom::record
