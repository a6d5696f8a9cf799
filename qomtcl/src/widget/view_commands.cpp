/* Commands of the ::qom namespace that take a view's path name first. */

#include <algorithm>
#include <cstdint>

#include "display/scaling.h"
#include "playback/navigation.h"
#include "trace.h"
#include "widget/instance.h"
#include "widget/photo.h"
#include "widget/view_lookup.h"

namespace {

/* A wide integer; Tcl reads one that has 64 bits without a sign as negative. */
int frame_from_word(const QomView *view, Tcl_Obj *word, size_t *frame) {
  Tcl_WideInt number = 0;
  double value = 0.0;
  if (Tcl_GetWideIntFromObj(view->interp, word, &number) != TCL_OK ||
      Tcl_GetDoubleFromObj(view->interp, word, &value) != TCL_OK)
    return TCL_ERROR;
  *frame = frame_limited(view, number < 0 && value > 0 ? INT64_MAX : number);
  return TCL_OK;
}

/* ::qom::seek pathName frame */
int SeekCmd(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) noexcept {
  if (objc != 3) {
    Tcl_WrongNumArgs(interp, 1, objv, "pathName frame");
    return TCL_ERROR;
  }
  QomView *view = view_from_path(interp, objv[1]);
  size_t frame = 0;
  if (!view || frame_from_word(view, objv[2], &frame) != TCL_OK) return TCL_ERROR;
  trace(view, "-- %s: going to frame %zu\n", "cmd_seek", frame);
  going_start(view, frame);
  return TCL_OK;
}

int photo_option(Tcl_Interp *interp, int count, Tcl_Obj *const words[], bool *with_cursor) {
  static const char *const options[] = {"-cursor", nullptr};
  int index = 0;
  int on = 0;
  if (count == 0) return TCL_OK;
  if (Tcl_GetIndexFromObjStruct(interp, words[0], options, sizeof options[0], "option", 0,
                                &index) != TCL_OK ||
      Tcl_GetBooleanFromObj(interp, words[1], &on) != TCL_OK)
    return TCL_ERROR;
  *with_cursor = on != 0;
  return TCL_OK;
}

/* ::qom::photo pathName imageName ?-cursor boolean? */
int PhotoCmd(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) noexcept {
  if (objc != 3 && objc != 5) {
    Tcl_WrongNumArgs(interp, 1, objv, "pathName imageName ?-cursor boolean?");
    return TCL_ERROR;
  }
  const QomView *view = view_from_path(interp, objv[1]);
  bool with_cursor = false;
  if (!view || photo_option(interp, objc - 3, objv + 3, &with_cursor) != TCL_OK) return TCL_ERROR;
  return photo_put(view, Tcl_GetString(objv[2]), with_cursor);
}

void put(Tcl_Obj *dictionary, const char *key, uint64_t value) {
  Tcl_DictObjPut(nullptr, dictionary, Tcl_NewStringObj(key, -1),
                 Tcl_NewWideIntObj(static_cast<Tcl_WideInt>(value)));
}

/* Microseconds: when the first record behind a place of the file was made, or the last record
   when there is none behind it. */
uint64_t time_behind(const QomView *view, int64_t position) {
  const QomIndexEntry *begin = view->entries;
  const QomIndexEntry *end = begin + qom_reader_index_length(view->reader);
  const QomIndexEntry *entry = std::upper_bound(
      begin, end, position, [](int64_t at, const QomIndexEntry &e) { return at < e.position; });
  return (entry == end ? entry - 1 : entry)->timestamp;
}

Tcl_Obj *state_dictionary(const QomView *view, const QomReaderInfo &info) {
  Tcl_Obj *state = Tcl_NewDictObj();
  Tcl_DictObjPut(nullptr, state, Tcl_NewStringObj("state", -1),
                 Tcl_NewStringObj(qom_reader_state_to_string(info.state), -1));
  put(state, "fileSize", info.file_size);
  put(state, "tornBytes", info.torn_bytes);
  put(state, "headRecovered", info.head_recovered);
  put(state, "damagedBytes", info.damaged_bytes);
  if (info.damaged_bytes > 0) {
    put(state, "damagedAt", static_cast<uint64_t>(info.damaged_at));
    put(state, "damagedAtTimeInMs", time_behind(view, info.damaged_at) / 1000);
  }
  put(state, "timesRaised", info.times_raised);
  put(state, "checkpointCount", info.checkpoint_count);
  put(state, "passedOver", view->tolerance.passed_over);
  if (view->tolerance.passed_over > 0)
    put(state, "passedOverTimeInMs", view->tolerance.last_time / 1000);
  return state;
}

/* ::qom::state pathName */
int StateCmd(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) noexcept {
  if (objc != 2) {
    Tcl_WrongNumArgs(interp, 1, objv, "pathName");
    return TCL_ERROR;
  }
  const QomView *view = view_from_path(interp, objv[1]);
  if (!view) return TCL_ERROR;
  QomReaderInfo info{};
  if (qom_reader_info(view->reader, &info) != 0) {
    Tcl_SetErrorCode(interp, "QOM", "STATE", nullptr);
    Tcl_SetObjResult(interp, Tcl_NewStringObj(qom_reader_error(), -1));
    return TCL_ERROR;
  }
  Tcl_SetObjResult(interp, state_dictionary(view, info));
  return TCL_OK;
}

/* ::qom::tolerant pathName ?boolean? */
int TolerantCmd(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) noexcept {
  if (objc != 2 && objc != 3) {
    Tcl_WrongNumArgs(interp, 1, objv, "pathName ?boolean?");
    return TCL_ERROR;
  }
  QomView *view = view_from_path(interp, objv[1]);
  int on = 0;
  if (!view || (objc == 3 && Tcl_GetBooleanFromObj(interp, objv[2], &on) != TCL_OK))
    return TCL_ERROR;
  if (objc == 3) {
    view->tolerance.on = on != 0;
    qom_screen_set_strict(view->screen, on == 0);
  } else {
    Tcl_SetObjResult(interp, Tcl_NewIntObj(view->tolerance.on));
  }
  return TCL_OK;
}

/* ::qom::filter pathName ?fast|fine? */
int FilterCmd(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) noexcept {
  static const char *const filters[] = {"fast", "fine", nullptr};
  if (objc != 2 && objc != 3) {
    Tcl_WrongNumArgs(interp, 1, objv, "pathName ?fast|fine?");
    return TCL_ERROR;
  }
  QomView *view = view_from_path(interp, objv[1]);
  int fine = 0;
  if (!view || (objc == 3 && Tcl_GetIndexFromObjStruct(interp, objv[2], filters, sizeof filters[0],
                                                       "filter", 0, &fine) != TCL_OK))
    return TCL_ERROR;
  if (objc == 3 && !scaling_set_fine(view, fine != 0)) {
    Tcl_SetErrorCode(interp, "QOM", "FILTER", nullptr);
    Tcl_SetObjResult(interp, Tcl_NewStringObj("the scaled picture could not be made anew", -1));
    return TCL_ERROR;
  }
  Tcl_SetObjResult(interp, Tcl_NewStringObj(filters[view->scaling.fine ? 1 : 0], -1));
  return TCL_OK;
}

/* ::qom::lossy pathName */
int LossyCmd(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) noexcept {
  if (objc != 2) {
    Tcl_WrongNumArgs(interp, 1, objv, "pathName");
    return TCL_ERROR;
  }
  const QomView *view = view_from_path(interp, objv[1]);
  if (!view) return TCL_ERROR;
  QomRectangle areas[QOM_MAX_LOSSY_AREAS];
  const size_t count = qom_screen_lossy(view->screen, areas, QOM_MAX_LOSSY_AREAS);
  Tcl_Obj *all = Tcl_NewListObj(0, nullptr);
  for (size_t i = 0; i < count; ++i) {
    Tcl_Obj *area = Tcl_NewListObj(0, nullptr);
    for (const int32_t number : {areas[i].x, areas[i].y, areas[i].width, areas[i].height})
      Tcl_ListObjAppendElement(nullptr, area, Tcl_NewIntObj(number));
    Tcl_ListObjAppendElement(nullptr, all, area);
  }
  Tcl_SetObjResult(interp, all);
  return TCL_OK;
}

}  // namespace

int view_commands_register(Tcl_Interp *interp) {
  static const struct {
    const char *name;
    Tcl_ObjCmdProc *procedure;
  } commands[] = {{"::qom::seek", SeekCmd},     {"::qom::photo", PhotoCmd},
                  {"::qom::state", StateCmd},   {"::qom::tolerant", TolerantCmd},
                  {"::qom::filter", FilterCmd}, {"::qom::lossy", LossyCmd}};
  for (const auto &command : commands)
    if (!Tcl_CreateObjCommand(interp, command.name, command.procedure, nullptr, nullptr))
      return TCL_ERROR;
  return TCL_OK;
}
