/* The entry point of qomtest, and its small commands. */

#include <X11/Xlib.h>

#include <X11/extensions/Xext.h>

#include <cstdlib>
#include <string>
#include <utility>

#include "display/redraw.h"
#include "handles.h"
#include "playback/record_process.h"
#include "recording/reader.h"
#include "recording/timeline.h"
#include "support.h"
#include "widget/instance.h"
#include "widget/package.h"

namespace {

int apply_command(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) {
  QomView *view = view_of(interp, objv[1]);
  if (!view) return TCL_ERROR;
  Tcl_Obj *results = Tcl_NewListObj(0, nullptr);
  for (int i = 2; i < objc; ++i) {
    int index = 0;
    if (Tcl_GetIntFromObj(interp, objv[i], &index) != TCL_OK) return TCL_ERROR;
    const RecordHandle<QomRecord> record(record_at_index(view, static_cast<size_t>(index)));
    const bool applied = record && record_process(view, record.get());
    Tcl_ListObjAppendElement(interp, results, Tcl_NewBooleanObj(applied));
  }
  ViewEventuallyRedraw(view);
  Tcl_SetObjResult(interp, results);
  return TCL_OK;
}

/* Every request is answered before XSync() returns, and with it the events that it
   caused are in the queue. */
int settle_command(ClientData, Tcl_Interp *interp, int, Tcl_Obj *const[]) {
  Tk_Window main_window = Tk_MainWindow(interp);
  if (!main_window) return TCL_ERROR;
  do {
    XSync(Tk_Display(main_window), False);
  } while (Tcl_DoOneEvent(TCL_ALL_EVENTS | TCL_DONT_WAIT) != 0);
  return TCL_OK;
}

/* Whether the picture lies in shared memory, the first record of a frame's step, the key frames. */
int ask_command(ClientData, Tcl_Interp *interp, int, Tcl_Obj *const objv[]) {
  QomView *view = view_of(interp, objv[1]);
  Tcl_WideInt number = 0;
  if (!view || Tcl_GetWideIntFromObj(interp, objv[3], &number) != TCL_OK) return TCL_ERROR;
  const std::string what = Tcl_GetString(objv[2]);
  const auto value = static_cast<size_t>(number);
  if (what == "ceiling") qom_screen_set_memory(view->screen, value);
  size_t bytes = 0;
  const size_t key_frames = qom_screen_snapshots(view->screen, &bytes);
  const size_t answer = what == "shared"  ? view->ximage->obdata != nullptr
                        : what == "first" ? index_of_frame(view, value)
                        : what == "bytes" ? bytes
                                          : key_frames;
  Tcl_SetObjResult(interp, Tcl_NewWideIntObj(static_cast<Tcl_WideInt>(answer)));
  return TCL_OK;
}

}  // namespace

QomView *view_of(Tcl_Interp *interp, Tcl_Obj *path) {
  Tcl_CmdInfo info{};
  if (Tcl_GetCommandInfo(interp, Tcl_GetString(path), &info) && info.objProc == ViewInstanceCmd)
    return static_cast<QomView *>(info.objClientData);
  Tcl_SetObjResult(interp, Tcl_ObjPrintf("no view \"%s\"", Tcl_GetString(path)));
  return nullptr;
}

extern "C" __attribute__((visibility("default"))) int Qomtest_Init(Tcl_Interp *interp) {
  if (Qomtcl_Init(interp) != TCL_OK) return TCL_ERROR;
  const std::pair<const char *, Tcl_ObjCmdProc *> commands[] = {
      {"::qomtest::record", record_command}, {"::qomtest::check", check_command},
      {"::qomtest::fault", fault_command},   {"::qomtest::apply", apply_command},
      {"::qomtest::settle", settle_command}, {"::qomtest::ask", ask_command},
      {"::qomtest::clock", clock_command},   {"::qomtest::hurry", hurry_command}};
  /* Where a view calls an extension that the server lacks, Xlib would write a line. */
  XSetExtensionErrorHandler([](Display *, const char *, const char *) -> int { abort(); });
  Tcl_CreateNamespace(interp, "::qomtest", nullptr, nullptr);
  for (const auto &[name, procedure] : commands)
    Tcl_CreateObjCommand(interp, name, procedure, nullptr, nullptr);
  return Tcl_PkgProvide(interp, "qomtest", "1.0");
}
