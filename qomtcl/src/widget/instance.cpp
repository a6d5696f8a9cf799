#include "widget/instance.h"

#include <cstring>

#include "display/scaling.h"

int ViewInstanceCmd(ClientData clientData, Tcl_Interp *interp, int objc,
                    Tcl_Obj *const objv[]) noexcept {
  auto *view = static_cast<QomView *>(clientData);
  if (objc == 4 && strcmp(Tcl_GetString(objv[1]), "configure") == 0) {
    int on = 0;
    if (Tcl_GetBooleanFromObj(interp, objv[3], &on) != TCL_OK) return TCL_ERROR;
    if (strcmp(Tcl_GetString(objv[2]), "-debug") == 0) view->option.debug = on != 0;
    if (strcmp(Tcl_GetString(objv[2]), "-scaling") == 0 && (on != 0) != view->scaling.on)
      return scaling_switch_mode(view);
  }
  return TCL_OK;
}

void options_teardown(QomView *view) {
  if (view->xScrollCmd) Tcl_Free(view->xScrollCmd);
  if (view->yScrollCmd) Tcl_Free(view->yScrollCmd);
  view->xScrollCmd = nullptr;
  view->yScrollCmd = nullptr;
}

int view_commands_register(Tcl_Interp *) { return TCL_OK; }
