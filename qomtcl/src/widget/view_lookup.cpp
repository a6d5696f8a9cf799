#include "widget/view_lookup.h"

#include "widget/instance.h"

QomView *view_from_path(Tcl_Interp *interp, Tcl_Obj *path) {
  const char *name = Tcl_GetString(path);
  if (!Tk_NameToWindow(interp, name, Tk_MainWindow(interp))) return nullptr;
  Tcl_CmdInfo info{};
  if (Tcl_GetCommandInfo(interp, name, &info) && info.objProc == ViewInstanceCmd) {
    auto *view = static_cast<QomView *>(info.objClientData);
    return window_exists(view, path) ? view : nullptr;
  }
  Tcl_SetErrorCode(interp, "QOM", "LOOKUP", "VIEW", name, nullptr);
  Tcl_SetObjResult(interp, Tcl_ObjPrintf("window \"%s\" is not a recording view", name));
  return nullptr;
}
