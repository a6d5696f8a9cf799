#include "widget/creation.h"

#include <cassert>
#include <cstring>
#include <string>

#include "display/connection.h"
#include "display/conversion.h"
#include "display/gc.h"
#include "display/pipeline.h"
#include "display/pixmap.h"
#include "display/redraw.h"
#include "display/scale.h"
#include "display/scaling.h"
#include "display/ximage.h"
#include "playback/first_image.h"
#include "playback/playing.h"
#include "playback/recorded_screen.h"
#include "recording/reader.h"
#include "survey/survey.h"
#include "view_hold.h"
#include "widget/events.h"
#include "widget/instance.h"
#include "widget/playing_commands.h"

namespace {

QomView *view_new(Tcl_Interp *interp) {
  auto *view = reinterpret_cast<QomView *>(Tcl_Alloc(sizeof(QomView)));
  memset(view, 0, sizeof *view);
  view->interp = interp;
  view->scaling.on = true;
  view->option.framerate = framerate_wished(interp);
  redraw_setup(view, ViewDisplay);
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

bool widget_setup(QomView *view, const char *path) {
  Tk_Window main_window = Tk_MainWindow(view->interp);
  view->tkwin = Tk_CreateWindowFromPath(view->interp, main_window, path, nullptr);
  if (!view->tkwin) return false;
  view->display = Tk_Display(view->tkwin);
  connection_prepare(view->display);
  Tk_SetClass(view->tkwin, "QomView");
  Tk_CreateEventHandler(view->tkwin, ExposureMask | StructureNotifyMask, ViewEventProc, view);
  if (!window_is_on_default_screen(view)) return false;
  window_use_default_visual(view->tkwin);
  Tk_GeometryRequest(view->tkwin, view->width, view->height);
  view->exposed_region = XCreateRegion();
  return view->exposed_region && gc_setup(view);
}

bool backend_setup(QomView *view) {
  return ximage_setup(view) && screen_setup(view) && (scaling(view) || pixmap_setup(view));
}

bool pipeline_setup(QomView *view) {
  return backend_setup(view) && frontend_setup(view) && pipeline_find_first_image(view);
}

bool command_setup_failed(QomView *view, Tcl_Obj *reason) {
  Tcl_SetErrorCode(view->interp, "QOM", "SETUP", "COMMAND", nullptr);
  Tcl_SetObjResult(view->interp, reason);
  return false;
}

/*
 * Deletes an older command of the window's name, whose traces may do anything. Tcl would delete
 * it too, but would not look whether the window is still there, or whose command has come in
 * its place.
 */
bool older_command_delete(QomView *view, const std::string &path, const std::string &name) {
  const auto find = [&] {
    return Tcl_FindCommand(view->interp, name.c_str(), nullptr, TCL_GLOBAL_ONLY);
  };
  if (Tcl_Command older = find()) Tcl_DeleteCommandFromToken(view->interp, older);
  if (!view_is_alive(view))
    return command_setup_failed(
        view, Tcl_ObjPrintf("window \"%s\" was destroyed by a trace of an older command \"%s\"",
                            path.c_str(), path.c_str()));
  if (!find()) return true;
  return command_setup_failed(
      view, Tcl_ObjPrintf("a trace of an older command \"%s\" made it anew", path.c_str()));
}

/* The last step, so that those traces find nothing of the view half made. */
bool command_setup(QomView *view) {
  const std::string path = Tk_PathName(view->tkwin);
  const std::string name = "::" + path;
  if (!older_command_delete(view, path, name)) return false;
  view->widgetCmd = Tcl_CreateObjCommand(view->interp, name.c_str(), ViewInstanceCmd, view,
                                         ViewInstanceDeleteProc);
  assert(view->widgetCmd != 0 && "widgetCmd should not be NULL");
  /* Until ViewInstanceDeleteProc() has run: a trace of the command's deletion may destroy
     the window first. */
  Tcl_Preserve(view);
  return true;
}

bool ViewSetup(QomView *view, const char *path, const char *file) {
  return reader_setup(view, file) && merge_setup(view) && widget_setup(view, path) &&
         pipeline_setup(view) && playing_setup(view) && command_setup(view);
}

/* Destroying the window can run bindings, which must not cost the script the reason. */
int creation_failed(QomView *view, Tcl_Interp *interp) {
  Tcl_InterpState reason = Tcl_SaveInterpState(interp, TCL_ERROR);
  view_end(view);
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
  const ViewHold hold(view);
  if (!ViewSetup(view, Tcl_GetString(objv[1]), file)) return creation_failed(view, interp);
  survey_setup(view, file);
  ViewEventuallyRedraw(view);
  view->file = nullptr;
  Tcl_SetObjResult(interp, Tcl_NewStringObj(Tk_PathName(view->tkwin), -1));
  return TCL_OK;
}
