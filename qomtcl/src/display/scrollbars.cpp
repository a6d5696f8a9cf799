/* Telling the scroll commands of the script what part of the frame is visible. */

#include <string>

#include "display/viewport.h"
#include "view_hold.h"

namespace {

/* The script may end the view or its interpreter, and may replace the command that is
   running: nothing of the view is used once it runs. */
void scroll_command_run(QomView *view, const std::string &script, const std::string &error_line) {
  Tcl_Interp *interp = view->interp;
  const int code = Tcl_EvalEx(interp, script.c_str(), static_cast<int>(script.size()), 0);
  if (Tcl_InterpDeleted(interp)) return;
  if (code != TCL_OK) {
    Tcl_AppendObjToErrorInfo(
        interp, Tcl_NewStringObj(error_line.c_str(), static_cast<int>(error_line.size())));
    Tcl_BackgroundException(interp, code);
  }
  Tcl_ResetResult(interp);
}

/* Releases the fractions. */
std::string script_from(const char *command, Tcl_Obj *const fractions[2]) {
  std::string script = command;
  for (int i = 0; i < 2; ++i) {
    Tcl_IncrRefCount(fractions[i]);
    script.append(" ").append(Tcl_GetString(fractions[i]));
    Tcl_DecrRefCount(fractions[i]);
  }
  return script;
}

std::string error_line(const QomView *view, const char *side) {
  return std::string("\n    (") + side + " scrolling command executed by " +
         Tk_PathName(view->tkwin) + ")";
}

void scrollbars_update_for_width(QomView *view) {
  Tcl_Obj *fractions[2];
  xview_status_calculate(view->tkwin, view->width, view->topleft.x, fractions);
  scroll_command_run(view, script_from(view->xScrollCmd, fractions),
                     error_line(view, "horizontal"));
}

void scrollbars_update_for_height(QomView *view) {
  Tcl_Obj *fractions[2];
  yview_status_calculate(view->tkwin, view->height, view->topleft.y, fractions);
  scroll_command_run(view, script_from(view->yScrollCmd, fractions), error_line(view, "vertical"));
}

}  // namespace

bool scrollbars_need_update(const QomView *view) {
  return !view->scaling.on && view->update_scrollbars;
}

void scrollbars_update(QomView *view) {
  const ViewHold hold(view);
  view->update_scrollbars = false;
  if (view->xScrollCmd) scrollbars_update_for_width(view);
  if (hold.alive() && view->yScrollCmd) scrollbars_update_for_height(view);
}
