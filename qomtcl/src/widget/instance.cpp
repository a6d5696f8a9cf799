#include "widget/instance.h"

#include <algorithm>
#include <cassert>
#include <climits>

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
  int number = 0;
  if (Tcl_GetIntFromObj(view->interp, objv[2], &number) != TCL_OK) return TCL_ERROR;
  const size_t frame = frame_limited(view, number);
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

/* How many words a call may have that needs no window. */
constexpr int kNone = 0;
constexpr int kQuery = 3;
constexpr int kAny = INT_MAX;

struct Subcommand {
  const char *name;
  int (*run)(QomView *view, int objc, Tcl_Obj *const objv[]);
  int words_without_window;
};

const Subcommand kSubcommands[] = {{"build", cmd_build, kAny},
                                   {"callback", cmd_callback, kAny},
                                   {"configure", cmd_configure, kQuery},
                                   {"dump", cmd_dump, kNone},
                                   {"go", cmd_go, kNone},
                                   {"info", cmd_info, kAny},
                                   {"play", cmd_play, kNone},
                                   {"test", cmd_test, kAny},
                                   {"version", cmd_version, kAny},
                                   {"xview", cmd_xview, kNone},
                                   {"yview", cmd_yview, kNone},
                                   {nullptr, nullptr, kNone}};

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
  auto *view = static_cast<QomView *>(clientData);
  const Subcommand &subcommand = kSubcommands[index];
  if (objc > subcommand.words_without_window && !window_exists(view, objv[0])) return TCL_ERROR;
  return subcommand.run(view, objc, objv);
}

bool window_exists(const QomView *view, Tcl_Obj *name) {
  if (view->tkwin) return true;
  Tcl_SetErrorCode(view->interp, "QOM", "LOOKUP", "WINDOW", Tcl_GetString(name), nullptr);
  Tcl_SetObjResult(view->interp,
                   Tcl_ObjPrintf("the window of \"%s\" is destroyed", Tcl_GetString(name)));
  return false;
}

size_t frame_limited(const QomView *view, Tcl_WideInt number) {
  return std::min(static_cast<size_t>(std::max<Tcl_WideInt>(number, 0)), view->number_of_frames);
}
