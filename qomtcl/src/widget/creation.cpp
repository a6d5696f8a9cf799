#include "widget/creation.h"

#include <cassert>
#include <cstring>

#include "display/connection.h"
#include "display/conversion.h"
#include "display/pipeline.h"
#include "display/pixmap.h"
#include "display/scaling.h"
#include "display/ximage.h"
#include "playback/first_image.h"
#include "playback/keyframe.h"
#include "playback/playing.h"
#include "recording/reader.h"
#include "widget/events.h"
#include "widget/instance.h"

namespace {

constexpr uint8_t kDefaultFramerate = 10;
constexpr unsigned long kBandColour = 0xcccccc;

QomView *view_new(Tcl_Interp *interp) {
  auto *view = reinterpret_cast<QomView *>(Tcl_Alloc(sizeof(QomView)));
  memset(view, 0, sizeof *view);
  view->interp = interp;
  view->scaling.on = true;
  view->option.framerate = kDefaultFramerate;
  return view;
}

/* Images and pixmap are made for the default visual; a window of another one could not
   show them. */
void window_use_default_visual(Tk_Window window) {
  Display *display = Tk_Display(window);
  const int screen = DefaultScreen(display);
  Tk_SetWindowVisual(window, DefaultVisual(display, screen), DefaultDepth(display, screen),
                     DefaultColormap(display, screen));
}

bool window_is_on_default_screen(QomView *view) {
  if (Tk_ScreenNumber(view->tkwin) == DefaultScreen(view->display)) return true;
  Tcl_SetErrorCode(view->interp, "QOM", "SETUP", "SCREEN", nullptr);
  Tcl_SetObjResult(view->interp,
                   Tcl_ObjPrintf("window \"%s\" is not on the default screen of its display",
                                 Tk_PathName(view->tkwin)));
  return false;
}

GC gc_create(QomView *view, unsigned long foreground, unsigned long background) {
  XGCValues values{};
  values.foreground = foreground;
  values.background = background;
  values.graphics_exposures = False;
  return XCreateGC(view->display, DefaultRootWindow(view->display),
                   GCForeground | GCBackground | GCGraphicsExposures, &values);
}

bool widget_setup_gc(QomView *view) {
  view->gc = gc_create(view, BlackPixelOfScreen(Tk_Screen(view->tkwin)), 1);
  view->scaling.gc = gc_create(view, kBandColour, kBandColour);
  return view->gc != nullptr;
}

bool widget_setup(QomView *view, const char *path) {
  Tk_Window main_window = Tk_MainWindow(view->interp);
  view->tkwin = Tk_CreateWindowFromPath(view->interp, main_window, path, nullptr);
  if (!view->tkwin) return false;
  view->display = Tk_Display(view->tkwin);
  connection_prepare(view->display);
  Tk_SetClass(view->tkwin, "QomView");
  view->widgetCmd = Tcl_CreateObjCommand(view->interp, Tk_PathName(view->tkwin), ViewInstanceCmd,
                                         view, ViewInstanceDeleteProc);
  assert(view->widgetCmd != 0 && "widgetCmd should not be NULL");
  /* Until ViewInstanceDeleteProc() has run: a trace of the command's deletion may destroy
     the window first. */
  Tcl_Preserve(view);
  Tk_CreateEventHandler(view->tkwin, ExposureMask | StructureNotifyMask, ViewEventProc, view);
  if (!window_is_on_default_screen(view)) return false;
  window_use_default_visual(view->tkwin);
  Tk_GeometryRequest(view->tkwin, view->width, view->height);
  view->exposed_region = XCreateRegion();
  return view->exposed_region && widget_setup_gc(view);
}

bool backend_setup(QomView *view) {
  return ximage_setup(view) && (scaling(view) || pixmap_setup(view));
}

bool pipeline_setup(QomView *view) {
  return backend_setup(view) && frontend_setup(view) && pipeline_find_first_image(view);
}

bool ViewSetup(QomView *view, const char *path, const char *file) {
  return reader_setup(view, file) && cache_setup(view) && merge_setup(view) &&
         widget_setup(view, path) && pipeline_setup(view) && playing_setup(view);
}

/* Deleting the command can run traces, which must not cost the script the reason. */
int creation_failed(QomView *view, Tcl_Interp *interp) {
  const Tcl_InterpState reason = Tcl_SaveInterpState(interp, TCL_ERROR);
  if (!view->destroying_view) view_destroy(view);
  return Tcl_RestoreInterpState(interp, reason);
}

}  // namespace

int ViewClassCmd(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) noexcept {
  if (objc != 3) {
    Tcl_WrongNumArgs(interp, 1, objv, "pathName file");
    return TCL_ERROR;
  }
  const char *file = static_cast<const char *>(Tcl_FSGetNativePath(objv[2]));
  if (!file) file = Tcl_GetString(objv[2]); /* of no real file system: no such file */
  QomView *view = view_new(interp);
  if (!ViewSetup(view, Tcl_GetString(objv[1]), file)) return creation_failed(view, interp);
  ViewEventuallyRedraw(view);
  view->file = nullptr;
  Tcl_SetObjResult(interp, Tcl_NewStringObj(Tk_PathName(view->tkwin), -1));
  return TCL_OK;
}
