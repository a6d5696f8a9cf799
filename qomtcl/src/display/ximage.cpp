#include "display/ximage.h"

#include <bit>
#include <cstdlib>
#include <cstring>

#include "display/damage.h"
#include "display/shared_memory.h"
#include "handles.h"

namespace {

constexpr uint64_t kMaxPixels = uint64_t{1} << 30; /* bytes of one image */
constexpr size_t kMinShared = size_t{64} * 1024;   /* bytes; below, a segment does not pay */
constexpr int64_t kMinSharedUpload =
    int64_t{64} * 1024; /* bytes; below, sending beats waiting for the server */

size_t image_size(const XImage *image) {
  return static_cast<size_t>(image->bytes_per_line) * image->height;
}

/* Pixels are written as integers of this machine, whatever the server's byte order. */
void use_host_byte_order(XImage *image) {
  image->byte_order = std::endian::native == std::endian::little ? LSBFirst : MSBFirst;
  XInitImage(image);
}

bool pixels_allocate(Display *display, XImage *image) {
  if (image_size(image) >= kMinShared && shared_pixels_allocate(display, image)) return true;
  image->data = static_cast<char *>(calloc(image->height, image->bytes_per_line));
  return image->data != nullptr;
}

int64_t bytes_of(const XImage *image, Box part) {
  return int64_t{part.x2 - part.x1} * (part.y2 - part.y1) * image->bits_per_pixel / 8;
}

bool ximage_setup_failed(QomView *view) {
  Tcl_SetErrorCode(view->interp, "QOM", "SETUP", "XIMAGE", nullptr);
  Tcl_SetObjResult(view->interp, Tcl_NewStringObj("failed to setup ximage", -1));
  return false;
}

}  // namespace

bool ximage_fits(Display *display, unsigned width, unsigned height) {
  const uint64_t pixel = DefaultDepth(display, DefaultScreen(display)) > 16 ? 4 : 2;
  return uint64_t{width} * height * pixel <= QOM_MAX_DATA;
}

XImage *ximage_allocate(Display *display, unsigned width, unsigned height) {
  if (width == 0 || height == 0 || uint64_t{width} * height > kMaxPixels / 4) return nullptr;
  const int screen = DefaultScreen(display);
  XImageHandle image(XCreateImage(display, DefaultVisual(display, screen),
                                  static_cast<unsigned>(DefaultDepth(display, screen)), ZPixmap, 0,
                                  nullptr, width, height, BitmapPad(display), 0));
  if (!image) return nullptr;
  use_host_byte_order(image.get());
  return pixels_allocate(display, image.get()) ? image.release() : nullptr;
}

XImage *ximage_duplicate(const XImage *image) {
  auto *copy = static_cast<XImage *>(malloc(sizeof(XImage)));
  auto *pixels = static_cast<char *>(malloc(image_size(image)));
  if (!copy || !pixels) {
    free(copy);
    free(pixels);
    return nullptr;
  }
  memcpy(pixels, image->data, image_size(image));
  *copy = *image;
  copy->data = pixels;
  copy->obdata = nullptr; /* a shared segment stays the original's */
  XInitImage(copy);
  return copy;
}

bool ximage_setup(QomView *view) {
  if (ximage_fits(view->display, view->width, view->height))
    view->ximage = ximage_allocate(view->display, view->width, view->height);
  if (!view->ximage) return ximage_setup_failed(view);
  view->ximage_region = XCreateRegion();
  if (view->ximage_region) return true;
  ximage_teardown(view);
  return ximage_setup_failed(view);
}

void ximage_teardown(QomView *view) {
  if (view->ximage_region) XDestroyRegion(view->ximage_region);
  view->ximage_region = nullptr;
  if (view->ximage) XDestroyImage(view->ximage);
  view->ximage = nullptr;
}

void pixmap_upload(QomView *view, XImage *image, int source_x, int source_y,
                   XRectangle destination) {
  if (!image || view->pixmap == None) return;
  const Box part = box_intersect(
      {source_x, source_y, source_x + destination.width, source_y + destination.height},
      {0, 0, image->width, image->height});
  if (box_is_empty(part)) return;
  const int x = destination.x + part.x1 - source_x;
  const int y = destination.y + part.y1 - source_y;
  const auto width = static_cast<unsigned>(part.x2 - part.x1);
  const auto height = static_cast<unsigned>(part.y2 - part.y1);
  if (shared_pixels(image) && bytes_of(image, part) >= kMinSharedUpload)
    shared_pixels_put(view->display, view->pixmap, view->gc, image, part.x1, part.y1, x, y, width,
                      height);
  else
    XPutImage(view->display, view->pixmap, view->gc, image, part.x1, part.y1, x, y, width, height);
}
