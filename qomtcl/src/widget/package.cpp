#include "widget/package.h"

#include <tk.h>

#include <cstdio>

#include "survey/survey_commands.h"
#include "widget/creation.h"
#include "widget/instance.h"
#include "widget/playing_commands.h"

extern "C" int Qomtcl_Init(Tcl_Interp *interp) {
  if (!Tcl_InitStubs(interp, "8.6", 0) || !Tk_InitStubs(interp, "8.6", 0)) return TCL_ERROR;
  Tcl_CreateObjCommand(interp, "::qom::view", ViewClassCmd, nullptr, nullptr);
  if (view_commands_register(interp) != TCL_OK || playing_commands_register(interp) != TCL_OK ||
      survey_commands_register(interp) != TCL_OK)
    return TCL_ERROR;
  if (Tcl_PkgProvide(interp, "qom::view", QOMVIEW_VERSION) != TCL_OK) return TCL_ERROR;
  (void)setvbuf(stdout, nullptr, _IOLBF, 0);
  return TCL_OK;
}
