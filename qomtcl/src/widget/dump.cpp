#include <climits>
#include <cstring>

#include "widget/subcommands.h"

namespace {

/* The two digits of each byte, as they lie in memory. */
class HexPairs {
 public:
  constexpr HexPairs() {
    constexpr char digits[] = "0123456789ABCDEF";
    for (int byte = 0; byte < 256; ++byte) {
      pairs_[byte][0] = digits[byte >> 4];
      pairs_[byte][1] = digits[byte & 15];
    }
  }
  const char *of(unsigned byte) const { return pairs_[byte & 0xff]; }

 private:
  char pairs_[256][2] = {};
};
constexpr HexPairs kHexPairs;

/* One row of elements, and the place where its text begins; returns where it ends. */
template <typename Element>
char *row_dump(const char *row, int width, char *text) {
  for (int x = 0; x < width; ++x) {
    Element element;
    memcpy(&element, row + static_cast<size_t>(x) * sizeof element, sizeof element);
    for (int shift = 8 * (sizeof element - 1); shift >= 0; shift -= 8, text += 2)
      memcpy(text, kHexPairs.of(static_cast<unsigned>(element >> shift)), 2);
  }
  *text = '\n';
  return text + 1;
}

template <typename Element>
void rows_dump(const XImage *image, char *text) {
  for (int y = 0; y < image->height; ++y)
    text = row_dump<Element>(image->data + static_cast<size_t>(y) * image->bytes_per_line,
                             image->width, text);
}

/* Bytes of an element; 0 for a depth that is not known. */
int element_size(int depth) {
  switch (depth) {
    case 8:
      return 1;
    case 16:
      return 2;
    case 24:
    case 32:
      return 4;
    default:
      return 0;
  }
}

int dump_failed(QomView *view, Tcl_Obj *reason) {
  Tcl_SetErrorCode(view->interp, "QOM", "DUMP", nullptr);
  Tcl_SetObjResult(view->interp, reason);
  return TCL_ERROR;
}

/* An object with room for that many bytes of text; null when there is none. */
Tcl_Obj *text_allocate(uint64_t size) {
  if (size > INT_MAX) return nullptr;
  Tcl_Obj *text = Tcl_NewObj();
  if (Tcl_AttemptSetObjLength(text, static_cast<int>(size))) return text;
  Tcl_DecrRefCount(text);
  return nullptr;
}

void ximage_dump(const XImage *image, int size, char *text) {
  switch (size) {
    case 1:
      return rows_dump<uint8_t>(image, text);
    case 2:
      return rows_dump<uint16_t>(image, text);
    default:
      return rows_dump<uint32_t>(image, text);
  }
}

}  // namespace

int cmd_dump(QomView *view, int, Tcl_Obj *const[]) {
  const int depth = DefaultDepth(view->display, DefaultScreen(view->display));
  const int size = element_size(depth);
  if (size == 0) return dump_failed(view, Tcl_ObjPrintf("unknown depth %d", depth));
  const XImage *image = view->ximage;
  const uint64_t row = static_cast<uint64_t>(image->width) * size * 2 + 1;
  Tcl_Obj *text = text_allocate(row * image->height);
  if (!text)
    return dump_failed(view, Tcl_ObjPrintf("failed to allocate memory for a text of %dx%d pixels",
                                           image->width, image->height));
  ximage_dump(image, size, Tcl_GetString(text));
  Tcl_SetObjResult(view->interp, text);
  return TCL_OK;
}
