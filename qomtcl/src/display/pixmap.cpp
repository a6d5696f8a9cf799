#include "display/pixmap.h"

#include "display/damage.h"
#include "display/scale.h"
#include "display/x_errors.h"

namespace {

constexpr int kMaxSide = 32767; /* pixels; the server's coordinates end there */
constexpr int kMinFilled = 6;   /* pixels; smaller pixmaps are not filled */

struct Size {
  int width;
  int height;
};

Size pixmap_size(const QomView *view) {
  if (scaling(view)) return {Tk_Width(view->tkwin), Tk_Height(view->tkwin)};
  return {view->width, view->height};
}

/* The server refuses a pixmap some time after it was asked for; waiting for its word here
   is what keeps a later request from ending the process. */
Pixmap pixmap_allocate(QomView *view, Size size) {
  if (size.width < 1 || size.height < 1 || size.width > kMaxSide || size.height > kMaxSide)
    return None;
  const Window root = RootWindow(view->display, DefaultScreen(view->display));
  XErrorTrap trap(view->display);
  const Pixmap pixmap =
      Tk_GetPixmap(view->display, root, size.width, size.height, Tk_Depth(view->tkwin));
  if (!trap.refused()) return pixmap;
  XErrorTrap freeing(view->display); /* the identifier is Tk's to take back */
  Tk_FreePixmap(view->display, pixmap);
  return None;
}

void pixmap_fill(QomView *view, Size size) {
  if (size.width < kMinFilled || size.height < kMinFilled) return;
  XFillRectangle(view->display, view->pixmap, view->gc, 0, 0, static_cast<unsigned>(size.width),
                 static_cast<unsigned>(size.height));
}

bool pixmap_setup_failed(QomView *view) {
  Tcl_SetErrorCode(view->interp, "QOM", "SETUP", "PIXMAP", nullptr);
  Tcl_SetObjResult(view->interp, Tcl_NewStringObj("failed to setup pixmap", -1));
  return false;
}

}  // namespace

bool pixmap_setup(QomView *view) {
  pixmap_teardown(view);
  const Size size = pixmap_size(view);
  view->pixmap = pixmap_allocate(view, size);
  if (view->pixmap == None) return pixmap_setup_failed(view);
  pixmap_fill(view, size);
  view->pixmap_region = XCreateRegion();
  if (!view->pixmap_region) {
    pixmap_teardown(view);
    return pixmap_setup_failed(view);
  }
  updates_want_all(view);
  return true;
}

void pixmap_teardown(QomView *view) {
  if (view->pixmap_region) XDestroyRegion(view->pixmap_region);
  view->pixmap_region = nullptr;
  if (view->pixmap != None) Tk_FreePixmap(view->display, view->pixmap);
  view->pixmap = None;
}

bool pixmap_recycle(QomView *view) {
  pixmap_teardown(view);
  return pixmap_setup(view);
}
