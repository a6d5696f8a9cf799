#include "display/gc.h"

namespace {

constexpr unsigned long kBandColour = 0xcccccc;

GC gc_create(const QomView *view, unsigned long foreground, unsigned long background) {
  XGCValues values{};
  values.foreground = foreground;
  values.background = background;
  values.graphics_exposures = False;
  return XCreateGC(view->display, DefaultRootWindow(view->display),
                   GCForeground | GCBackground | GCGraphicsExposures, &values);
}

void gc_free(const QomView *view, GC *gc) {
  if (*gc) XFreeGC(view->display, *gc);
  *gc = nullptr;
}

}  // namespace

bool gc_setup(QomView *view) {
  view->gc = gc_create(view, BlackPixelOfScreen(Tk_Screen(view->tkwin)), 1);
  gc_for_bands(view);
  return view->gc != nullptr;
}

void gc_teardown(QomView *view) {
  gc_free(view, &view->scaling.gc);
  gc_free(view, &view->gc);
}

GC gc_for_bands(QomView *view) {
  if (!view->scaling.gc) view->scaling.gc = gc_create(view, kBandColour, kBandColour);
  return view->scaling.gc;
}
