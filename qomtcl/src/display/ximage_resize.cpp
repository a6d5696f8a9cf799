#include <algorithm>
#include <cstring>

#include "display/shared_memory.h"
#include "display/ximage.h"

namespace {

/* Rows of an image's memory: all images of a display have the same bytes per pixel and
   row padding, so rows move as bytes. */
struct Rows {
  char *data;
  size_t stride; /* bytes from a row to the next */
  size_t used;   /* bytes of a row that hold pixels */
  int count;

  char *row(int y) const { return data + static_cast<size_t>(y) * stride; }
};

Rows rows_of(XImage *image) {
  const auto stride = static_cast<size_t>(image->bytes_per_line);
  return {image->data, stride, static_cast<size_t>(image->width) * image->bits_per_pixel / 8,
          image->height};
}

Rows rows_of_size(const XImage *image, unsigned width, unsigned height) {
  const size_t pad = static_cast<size_t>(image->bitmap_pad);
  const size_t bits = static_cast<size_t>(width) * image->bits_per_pixel;
  return {image->data, (bits + pad - 1) / pad * (pad / 8), bits / 8, static_cast<int>(height)};
}

/* Both lie in the same memory. Wider rows are moved from the last one on, so that none is
   overwritten before it has moved. */
void rows_move(const Rows &from, const Rows &to) {
  const int count = std::min(from.count, to.count);
  const size_t used = std::min(from.used, to.used);
  const auto move = [&](int y) {
    memmove(to.row(y), from.row(y), used);
    memset(to.row(y) + used, 0, to.stride - used);
  };
  if (to.stride > from.stride)
    for (int y = count - 1; y >= 0; --y) move(y);
  else
    for (int y = 0; y < count; ++y) move(y);
  if (to.count > count) memset(to.row(count), 0, to.stride * static_cast<size_t>(to.count - count));
}

void rows_copy(const Rows &from, const Rows &to) {
  const size_t used = std::min(from.used, to.used);
  for (int y = 0; y < std::min(from.count, to.count); ++y) memcpy(to.row(y), from.row(y), used);
}

XImage *resize_in_place(XImage *image, const Rows &rows, unsigned width) {
  rows_move(rows_of(image), rows);
  image->width = static_cast<int>(width);
  image->height = rows.count;
  image->bytes_per_line = static_cast<int>(rows.stride);
  return image;
}

}  // namespace

XImage *ximage_resize(Display *display, XImage *image, unsigned width, unsigned height) {
  const Rows rows = rows_of_size(image, width, height);
  if (rows.stride * height <= shared_pixels_room(image)) return resize_in_place(image, rows, width);
  XImage *resized = ximage_allocate(display, width, height);
  if (!resized) return nullptr;
  rows_copy(rows_of(image), rows_of(resized));
  XDestroyImage(image);
  return resized;
}
