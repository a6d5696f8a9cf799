/* The only place that is linked against Tcl and Tk themselves: everything else goes through
   the stub tables, which an interpreter has to exist for. */

#include <tcl.h>
#include <tk.h>

Tcl_Interp *interp_with_tk(const char *program) {
  Tcl_FindExecutable(program);
  Tcl_Interp *interp = Tcl_CreateInterp();
  return Tcl_Init(interp) == TCL_OK && Tk_Init(interp) == TCL_OK ? interp : nullptr;
}
