/* qomtest::fault: functions of the system that fail when a test wants them to. The test
   module is linked so that calls of f() reach __wrap_f(), which may call __real_f(). */

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <X11/extensions/XShm.h>

#include <cstdlib>
#include <map>
#include <string>
#include <utility>

#include "support.h"

namespace {

/* The call that fails, counted from 1; 0 none, -1 all. */
std::map<std::string, int> countdowns = {
    {"attach", 0}, {"region", 0}, {"calloc", 0}, {"gc", 0}, {"pixmap", 0}};

bool fails(const char *name) {
  int &countdown = countdowns.at(name);
  return countdown < 0 || (countdown > 0 && --countdown == 0);
}

/* What Tk provides is called through a table. Asks the server for more than it gives, so that the
   error is its own. */
auto *tk_pixmap = static_cast<decltype(TkStubs::tk_GetPixmap)>(nullptr);
Pixmap pixmap_or_refused(Display *display, Drawable drawable, int width, int height, int depth) {
  if (fails("pixmap")) width = height = 40000;
  return tk_pixmap(display, drawable, width, height, depth);
}

void tk_table_replace() {
  if (tk_pixmap) return;
  static TkStubs table = *tkStubsPtr;
  tk_pixmap = std::exchange(table.tk_GetPixmap, pixmap_or_refused);
  tkStubsPtr = &table;
}

constexpr size_t kImageSized = 4096; /* bytes; smaller allocations are left alone */

}  // namespace

extern "C" {
/* A server that refuses the segment answers with an X error. */
Status __real_XShmAttach(Display *, XShmSegmentInfo *);
Status __wrap_XShmAttach(Display *display, XShmSegmentInfo *segment) {
  if (!fails("attach")) return __real_XShmAttach(display, segment);
  XShmSegmentInfo unknown = *segment;
  unknown.shmid = 0x7ffffff0;
  return __real_XShmAttach(display, &unknown);
}

Region __real_XCreateRegion();
Region __wrap_XCreateRegion() {
  return fails("region") ? nullptr : __real_XCreateRegion();
}

GC __real_XCreateGC(Display *, Drawable, unsigned long, XGCValues *);
GC __wrap_XCreateGC(Display *display, Drawable drawable, unsigned long mask, XGCValues *values) {
  return fails("gc") ? nullptr : __real_XCreateGC(display, drawable, mask, values);
}

void *__real_calloc(size_t, size_t);
void *__wrap_calloc(size_t count, size_t size) {
  return count * size >= kImageSized && fails("calloc") ? nullptr : __real_calloc(count, size);
}
}

int fault_command(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) {
  if (objc != 3 || !countdowns.contains(Tcl_GetString(objv[1]))) return TCL_ERROR;
  tk_table_replace();
  return Tcl_GetIntFromObj(interp, objv[2], &countdowns[Tcl_GetString(objv[1])]);
}
