#include "widget/instance.h"

#include <algorithm>
#include <cassert>

#include "display/viewport.h"
#include "playback/navigation.h"
#include "playback/playing.h"
#include "recording/timeline.h"
#include "trace.h"
#include "widget/callback.h"
#include "widget/subcommands.h"
#include "widget/version.h"

namespace {

int cmd_build(QomView *view, int, Tcl_Obj *const[]) {
  Tcl_SetObjResult(view->interp, Tcl_NewStringObj(version_text(), -1));
  return TCL_OK;
}

int cmd_version(QomView *view, int objc, Tcl_Obj *const objv[]) {
  return cmd_build(view, objc, objv);
}

int cmd_test(QomView *view, int, Tcl_Obj *const[]) {
  trace(view, "-- %s: testing\n", "cmd_test");
  return TCL_OK;
}

int cmd_callback(QomView *view, int objc, Tcl_Obj *const objv[]) {
  if (objc == 2)
    callback_get(view);
  else
    callback_set(view, objc - 2, objv + 2);
  return TCL_OK;
}

int cmd_go(QomView *view, int objc, Tcl_Obj *const objv[]) {
  if (objc != 3) {
    Tcl_WrongNumArgs(view->interp, 1, objv, "go FRACTION");
    return TCL_ERROR;
  }
  size_t frame = 0;
  if (frame_from_word(view, objv[2], &frame) != TCL_OK) return TCL_ERROR;
  if (almost_current_frame(view, static_cast<int32_t>(frame))) return TCL_OK;
  trace(view, "-- %s: going to frame %d\n", "cmd_go", static_cast<int>(frame));
  going_start(view, frame);
  return TCL_OK;
}

int cmd_play(QomView *view, int objc, Tcl_Obj *const objv[]) {
  static const char *const words[] = {"start", "stop", "status", nullptr};
  static int (*const actions[])(QomView *) = {play_start, play_stop, play_status};
  if (objc != 3) {
    Tcl_WrongNumArgs(view->interp, 1, objv, "play SUBCOMMAND");
    return TCL_ERROR;
  }
  int index = 0;
  if (Tcl_GetIndexFromObjStruct(view->interp, objv[2], words, sizeof words[0], "option", 0,
                                &index) != TCL_OK)
    return TCL_ERROR;
  trace(view, "-- %s: subcommand=%s\n", "cmd_play", Tcl_GetString(objv[2]));
  return actions[index](view);
}

struct Subcommand {
  const char *name;
  int (*run)(QomView *view, int objc, Tcl_Obj *const objv[]);
};

const Subcommand kSubcommands[] = {{"build", cmd_build},
                                   {"callback", cmd_callback},
                                   {"configure", cmd_configure},
                                   {"dump", cmd_dump},
                                   {"go", cmd_go},
                                   {"info", cmd_info},
                                   {"play", cmd_play},
                                   {"test", cmd_test},
                                   {"version", cmd_version},
                                   {"xview", cmd_xview},
                                   {"yview", cmd_yview},
                                   {nullptr, nullptr}};

}  // namespace

int ViewInstanceCmd(ClientData clientData, Tcl_Interp *interp, int objc,
                    Tcl_Obj *const objv[]) noexcept {
  assert(clientData != 0 && "clientData should not be NULL");
  if (objc < 2) {
    Tcl_WrongNumArgs(interp, 1, objv, "subcommand");
    return TCL_ERROR;
  }
  int index = 0;
  if (Tcl_GetIndexFromObjStruct(interp, objv[1], kSubcommands, sizeof kSubcommands[0], "command", 0,
                                &index) != TCL_OK)
    return TCL_ERROR;
  return kSubcommands[index].run(static_cast<QomView *>(clientData), objc, objv);
}

int frame_from_word(QomView *view, Tcl_Obj *word, size_t *frame) {
  int number = 0;
  if (Tcl_GetIntFromObj(view->interp, word, &number) != TCL_OK) return TCL_ERROR;
  *frame = std::min(static_cast<size_t>(std::max(number, 0)), view->number_of_frames);
  return TCL_OK;
}
