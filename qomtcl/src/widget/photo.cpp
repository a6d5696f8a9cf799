#include "widget/photo.h"

#include <memory>
#include <new>

#include "display/merge.h"
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

int block_put(const QomView *view, Tk_PhotoHandle photo, const XImage *image, uint8_t *rgb) {
  const QomPicture picture = picture_of_ximage(image, view->pixel_format);
  qom_picture_rgb(&picture, {0, 0, image->width, image->height}, rgb,
                  static_cast<size_t>(image->width) * kRgb);
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
  const QomPicture picture = picture_of_ximage(view->ximage, view->pixel_format);
  const QomPicture blended = picture_of_ximage(copy.get(), view->pixel_format);
  qom_picture_blend(&picture, view->cursor.record, view->cursor.corner.x, view->cursor.corner.y,
                    {0, 0, view->width, view->height}, &blended);
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
