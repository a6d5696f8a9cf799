#include "widget/photo.h"

#include <bit>
#include <memory>
#include <new>

#include "display/cursor_blend.h"
#include "display/ximage.h"
#include "handles.h"

namespace {

/* Bytes of a pixel as the photo takes it. */
constexpr int kRgb = 3;

int photo_failed(const QomView *view, const char *code, Tcl_Obj *reason) {
  Tcl_SetErrorCode(view->interp, "QOM", "PHOTO", code, nullptr);
  Tcl_SetObjResult(view->interp, reason);
  return TCL_ERROR;
}

/* Bits of a channel widened to 8 by repeating the leading ones. */
class Channel {
 public:
  explicit Channel(unsigned long mask)
      : shift_(std::countr_zero(mask)), bits_(std::popcount(mask)) {}
  uint8_t of(unsigned long pixel) const {
    const unsigned value = static_cast<unsigned>(pixel >> shift_) & ((1U << bits_) - 1);
    return static_cast<uint8_t>(value << (8 - bits_) | value >> (2 * bits_ - 8));
  }

 private:
  int shift_;
  int bits_; /* 4..8 */
};

template <typename Pixel>
void rows_convert(const XImage *image, uint8_t *rgb) {
  const Channel red(image->red_mask);
  const Channel green(image->green_mask);
  const Channel blue(image->blue_mask);
  for (int y = 0; y < image->height; ++y) {
    const auto *row = reinterpret_cast<const Pixel *>(image->data + static_cast<size_t>(y) *
                                                                        image->bytes_per_line);
    for (int x = 0; x < image->width; ++x, rgb += kRgb) {
      rgb[0] = red.of(row[x]);
      rgb[1] = green.of(row[x]);
      rgb[2] = blue.of(row[x]);
    }
  }
}

int block_put(const QomView *view, Tk_PhotoHandle photo, const XImage *image, uint8_t *rgb) {
  if (image->bits_per_pixel == 16)
    rows_convert<uint16_t>(image, rgb);
  else
    rows_convert<uint32_t>(image, rgb);
  Tk_PhotoImageBlock block{rgb,  image->width, image->height, image->width * kRgb,
                           kRgb, {0, 1, 2, -1}};
  if (Tk_PhotoSetSize(view->interp, photo, image->width, image->height) != TCL_OK) return TCL_ERROR;
  return Tk_PhotoPutBlock(view->interp, photo, &block, 0, 0, image->width, image->height,
                          TK_PHOTO_COMPOSITE_SET);
}

/* A copy of the frame with the cursor over it; null when memory is short. */
XImageHandle frame_with_cursor(const QomView *view) {
  XImageHandle copy(ximage_duplicate(view->ximage));
  if (!copy) return copy;
  blend_cursor(view->ximage, view->cursor.record, view->cursor.corner.x, view->cursor.corner.y,
               {0, 0, view->width, view->height}, copy.get());
  return copy;
}

}  // namespace

int photo_put(const QomView *view, const char *name, bool with_cursor) {
  Tk_PhotoHandle photo = Tk_FindPhoto(view->interp, name);
  if (!photo)
    return photo_failed(view, "LOOKUP", Tcl_ObjPrintf("image \"%s\" does not exist", name));
  const bool blended = with_cursor && view->cursor.record;
  const XImageHandle copy = blended ? frame_with_cursor(view) : nullptr;
  const size_t size = static_cast<size_t>(view->width) * view->height * kRgb;
  const std::unique_ptr<uint8_t[]> rgb(new (std::nothrow) uint8_t[size]);
  if (!rgb || (blended && !copy))
    return photo_failed(view, "MEMORY", Tcl_ObjPrintf("failed to allocate memory for a picture"));
  return block_put(view, photo, copy ? copy.get() : view->ximage, rgb.get());
}
