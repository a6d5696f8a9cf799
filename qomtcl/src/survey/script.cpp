#include "survey/script.h"

void Script::call(QomView *view, std::initializer_list<Tcl_Obj *> words) const {
  Tcl_Interp *interp = view->interp;
  Tcl_Obj *command = Tcl_NewListObj(0, nullptr);
  Tcl_IncrRefCount(command);
  int code = prefix_ ? Tcl_ListObjAppendList(interp, command, prefix_) : TCL_OK;
  for (Tcl_Obj *word : words) Tcl_ListObjAppendElement(nullptr, command, word);
  if (prefix_ && !Tcl_InterpDeleted(interp)) {
    Tcl_Preserve(interp);
    if (code == TCL_OK) code = Tcl_EvalObjEx(interp, command, TCL_EVAL_GLOBAL | TCL_EVAL_DIRECT);
    if (code != TCL_OK) Tcl_BackgroundException(interp, code);
    Tcl_Release(interp);
  }
  Tcl_DecrRefCount(command);
}
