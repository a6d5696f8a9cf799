#include "widget/playing_commands.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "playback/navigation.h"
#include "playback/playing.h"
#include "recording/timeline.h"
#include "widget/view_lookup.h"

namespace {

constexpr uint8_t kDefaultFramerate = 10;
constexpr int kMaxFramerate = 99;
constexpr double kSlowest = 0.1;
constexpr double kFastest = 64;

/* Under which an interpreter keeps the rate. */
constexpr const char *kWish = "qom::framerate";

struct Wish {
  uint8_t framerate;
};

void wish_free(ClientData wish, Tcl_Interp *) noexcept {
  delete static_cast<Wish *>(wish);
}

void wish_set(Tcl_Interp *interp, uint8_t framerate) {
  /* Setting it anew would leave the old one behind. */
  if (auto *wish = static_cast<Wish *>(Tcl_GetAssocData(interp, kWish, nullptr)))
    wish->framerate = framerate;
  else
    Tcl_SetAssocData(interp, kWish, wish_free, new Wish{framerate});
}

int value_wrong(Tcl_Interp *interp, Tcl_Obj *message) {
  Tcl_SetErrorCode(interp, "QOM", "PLAYING", "VALUE", nullptr);
  Tcl_SetObjResult(interp, message);
  return TCL_ERROR;
}

Tcl_Obj *framerate_object(uint8_t framerate) {
  return framerate == 0 ? Tcl_NewStringObj("recorded", -1) : Tcl_NewIntObj(framerate);
}

/* ::qom::framerate ?n|recorded? */
int FramerateCmd(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) noexcept {
  if (objc > 2) {
    Tcl_WrongNumArgs(interp, 1, objv, "?framesPerSecond|recorded?");
    return TCL_ERROR;
  }
  int rate = 0;
  if (objc == 2 && strcmp(Tcl_GetString(objv[1]), "recorded") != 0 &&
      (Tcl_GetIntFromObj(nullptr, objv[1], &rate) != TCL_OK || rate < 1 || rate > kMaxFramerate))
    return value_wrong(interp, Tcl_ObjPrintf("bad frame rate \"%s\": must be 1 to %d, or recorded",
                                             Tcl_GetString(objv[1]), kMaxFramerate));
  if (objc == 2) wish_set(interp, static_cast<uint8_t>(rate));
  Tcl_SetObjResult(interp, framerate_object(framerate_wished(interp)));
  return TCL_OK;
}

int time_from_word(Tcl_Interp *interp, Tcl_Obj *word, uint64_t *time) {
  Tcl_WideInt number = 0;
  if (Tcl_GetWideIntFromObj(interp, word, &number) != TCL_OK) return TCL_ERROR;
  *time = static_cast<uint64_t>(std::max<Tcl_WideInt>(0, number));
  return TCL_OK;
}

/* ::qom::seektime pathName time */
int SeektimeCmd(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) noexcept {
  if (objc != 3) {
    Tcl_WrongNumArgs(interp, 1, objv, "pathName time");
    return TCL_ERROR;
  }
  QomView *view = view_from_path(interp, objv[1]);
  uint64_t time = 0;
  if (!view || time_from_word(interp, objv[2], &time) != TCL_OK) return TCL_ERROR;
  going_start_to_moment(view, time);
  return TCL_OK;
}

uint64_t position(const QomView *view) {
  return view->progress.moment != 0 ? view->progress.moment
                                    : time_of_frame(view, view->current_frame);
}

/* ::qom::position pathName */
int PositionCmd(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) noexcept {
  if (objc != 2) {
    Tcl_WrongNumArgs(interp, 1, objv, "pathName");
    return TCL_ERROR;
  }
  const QomView *view = view_from_path(interp, objv[1]);
  if (!view) return TCL_ERROR;
  Tcl_SetObjResult(interp, Tcl_NewWideIntObj(static_cast<Tcl_WideInt>(position(view))));
  return TCL_OK;
}

/* ::qom::speed pathName ?factor? */
int SpeedCmd(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) noexcept {
  if (objc != 2 && objc != 3) {
    Tcl_WrongNumArgs(interp, 1, objv, "pathName ?factor?");
    return TCL_ERROR;
  }
  QomView *view = view_from_path(interp, objv[1]);
  double speed = 0;
  if (!view || (objc == 3 && Tcl_GetDoubleFromObj(interp, objv[2], &speed) != TCL_OK))
    return TCL_ERROR;
  if (objc == 3 && !(speed >= kSlowest && speed <= kFastest))
    return value_wrong(
        interp, Tcl_ObjPrintf("bad speed \"%s\": must be 0.1 to 64", Tcl_GetString(objv[2])));
  if (objc == 3) speed_set(view, speed);
  Tcl_SetObjResult(interp, Tcl_NewDoubleObj(view->playing.speed));
  return TCL_OK;
}

int change_failed(Tcl_Interp *interp) {
  Tcl_SetErrorCode(interp, "QOM", "CHANGE", nullptr);
  Tcl_SetObjResult(interp, Tcl_NewStringObj(qom_reader_error(), -1));
  return TCL_ERROR;
}

/* ::qom::change pathName next|previous ?time? */
int ChangeCmd(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) noexcept {
  static const char *const directions[] = {"next", "previous", nullptr};
  if (objc != 3 && objc != 4) {
    Tcl_WrongNumArgs(interp, 1, objv, "pathName next|previous ?time?");
    return TCL_ERROR;
  }
  QomView *view = view_from_path(interp, objv[1]);
  int back = 0;
  if (!view || Tcl_GetIndexFromObjStruct(interp, objv[2], directions, sizeof directions[0],
                                         "direction", 0, &back) != TCL_OK)
    return TCL_ERROR;
  uint64_t time = position(view);
  if (objc == 4 && time_from_word(interp, objv[3], &time) != TCL_OK) return TCL_ERROR;
  uint64_t found = 0;
  const int result = back != 0 ? qom_screen_previous_change(view->screen, time, nullptr, &found)
                               : qom_screen_next_change(view->screen, time, nullptr, &found);
  if (result < 0) return change_failed(interp);
  if (result > 0) Tcl_SetObjResult(interp, Tcl_NewWideIntObj(static_cast<Tcl_WideInt>(found)));
  return TCL_OK;
}

}  // namespace

uint8_t framerate_wished(Tcl_Interp *interp) {
  const auto *wish = static_cast<const Wish *>(Tcl_GetAssocData(interp, kWish, nullptr));
  return wish ? wish->framerate : kDefaultFramerate;
}

int playing_commands_register(Tcl_Interp *interp) {
  static const struct {
    const char *name;
    Tcl_ObjCmdProc *procedure;
  } commands[] = {{"::qom::framerate", FramerateCmd},
                  {"::qom::seektime", SeektimeCmd},
                  {"::qom::position", PositionCmd},
                  {"::qom::speed", SpeedCmd},
                  {"::qom::change", ChangeCmd}};
  for (const auto &command : commands)
    if (!Tcl_CreateObjCommand(interp, command.name, command.procedure, nullptr, nullptr))
      return TCL_ERROR;
  return TCL_OK;
}
