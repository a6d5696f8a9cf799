#include "survey/survey_commands.h"

#include <algorithm>
#include <memory>

#include "recording/timeline.h"
#include "survey/activity.h"
#include "survey/happenings.h"
#include "survey/preview.h"
#include "survey/survey.h"
#include "widget/view_lookup.h"

namespace {

constexpr int kMostParts = 65536;
constexpr int kMostSide = 4096; /* pixels of a preview */

int wrong(Tcl_Interp *interp, const char *message) {
  Tcl_SetErrorCode(interp, "QOM", "SURVEY", "VALUE", nullptr);
  Tcl_SetObjResult(interp, Tcl_NewStringObj(message, -1));
  return TCL_ERROR;
}

int words_wrong(Tcl_Interp *interp, Tcl_Obj *const objv[], const char *words) {
  Tcl_WrongNumArgs(interp, 1, objv, words);
  return TCL_ERROR;
}

/* A time, microseconds since the epoch; those before it are it. */
int time_from(Tcl_Interp *interp, Tcl_Obj *word, uint64_t *time) {
  Tcl_WideInt number = 0;
  if (Tcl_GetWideIntFromObj(interp, word, &number) != TCL_OK) return TCL_ERROR;
  *time = static_cast<uint64_t>(std::max<Tcl_WideInt>(0, number));
  return TCL_OK;
}

int number_from(Tcl_Interp *interp, Tcl_Obj *word, int most, int *number) {
  if (Tcl_GetIntFromObj(interp, word, number) != TCL_OK) return TCL_ERROR;
  if (*number >= 1 && *number <= most) return TCL_OK;
  Tcl_SetErrorCode(interp, "QOM", "SURVEY", "VALUE", nullptr);
  Tcl_SetObjResult(interp, Tcl_ObjPrintf("expected a number from 1 to %d but got \"%s\"", most,
                                         Tcl_GetString(word)));
  return TCL_ERROR;
}

Tcl_Obj *numbers_list(const std::vector<uint64_t> &numbers) {
  Tcl_Obj *list = Tcl_NewListObj(0, nullptr);
  for (const uint64_t number : numbers)
    Tcl_ListObjAppendElement(nullptr, list, Tcl_NewWideIntObj(static_cast<Tcl_WideInt>(number)));
  return list;
}

/* ::qom::activity pathName parts ?from to? */
int ActivityCmd(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) noexcept {
  if (objc != 3 && objc != 5) return words_wrong(interp, objv, "pathName parts ?from to?");
  const QomView *view = view_from_path(interp, objv[1]);
  int parts = 0;
  if (!view || number_from(interp, objv[2], kMostParts, &parts) != TCL_OK) return TCL_ERROR;
  uint64_t from = time_of_first_frame(view);
  uint64_t to = time_of_last_record(view);
  if (objc == 5 &&
      (time_from(interp, objv[3], &from) != TCL_OK || time_from(interp, objv[4], &to) != TCL_OK))
    return TCL_ERROR;
  if (objc == 5 && from >= to) return wrong(interp, "a stretch has to end after it begins");
  const Activity activity =
      activity_measure(view, from, std::max(to, from + 1), static_cast<size_t>(parts));
  Tcl_Obj *result = Tcl_NewDictObj();
  Tcl_DictObjPut(nullptr, result, Tcl_NewStringObj("picture", -1), numbers_list(activity.picture));
  Tcl_DictObjPut(nullptr, result, Tcl_NewStringObj("input", -1), numbers_list(activity.input));
  Tcl_SetObjResult(interp, result);
  return TCL_OK;
}

/* ::qom::idle pathName limit */
int IdleCmd(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) noexcept {
  if (objc != 3) return words_wrong(interp, objv, "pathName limit");
  const QomView *view = view_from_path(interp, objv[1]);
  uint64_t limit = 0;
  if (!view || time_from(interp, objv[2], &limit) != TCL_OK) return TCL_ERROR;
  if (limit == 0) return wrong(interp, "the limit has to be above 0 microseconds");
  Tcl_SetObjResult(interp, stretches_list(idle_find(view, limit)));
  return TCL_OK;
}

/* The script behind ?-command script?; null without one. */
int command_option(Tcl_Interp *interp, int objc, Tcl_Obj *const objv[], Tcl_Obj **script) {
  static const char *const options[] = {"-command", nullptr};
  int index = 0;
  if (objc != 2 && objc != 4) return words_wrong(interp, objv, "pathName ?-command script?");
  if (objc == 2) return TCL_OK;
  *script = objv[3];
  return Tcl_GetIndexFromObjStruct(interp, objv[2], options, sizeof options[0], "option", 0,
                                   &index);
}

template <typename Wanted>
int reading_command(Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) {
  Tcl_Obj *script = nullptr;
  if (command_option(interp, objc, objv, &script) != TCL_OK) return TCL_ERROR;
  QomView *view = view_from_path(interp, objv[1]);
  if (!view) return TCL_ERROR;
  auto task = std::make_unique<Wanted>(script);
  Worker *worker = &view->survey->reading;
  return script ? survey_add(view, worker, std::move(task), false)
                : survey_do(view, worker, std::move(task));
}

/* ::qom::events pathName ?-command script? */
int EventsCmd(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) noexcept {
  return reading_command<HappeningsTask>(interp, objc, objv);
}

/* ::qom::unreliable pathName ?-command script? */
int UnreliableCmd(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) noexcept {
  return reading_command<UntrustedTask>(interp, objc, objv);
}

int preview_options(Tcl_Interp *interp, int count, Tcl_Obj *const words[], Preview *preview,
                    Tcl_Obj **script) {
  static const char *const options[] = {"-command", "-height", "-width", nullptr};
  for (int i = 0; i < count; i += 2) {
    int index = 0;
    if (Tcl_GetIndexFromObjStruct(interp, words[i], options, sizeof options[0], "option", 0,
                                  &index) != TCL_OK)
      return TCL_ERROR;
    if (index == 0)
      *script = words[i + 1];
    else if (number_from(interp, words[i + 1], kMostSide,
                         index == 1 ? &preview->height : &preview->width) != TCL_OK)
      return TCL_ERROR;
  }
  return TCL_OK;
}

/* A preview that somebody waits for, whose place it is. */
class AtOnce : public Task {
 public:
  explicit AtOnce(Preview *preview) : preview_(preview) {}
  void run(Source &source) override { preview_make(source, preview_); }
  void deliver(QomView *, bool) override {}

 private:
  Preview *preview_;
};

int preview_now(QomView *view, Preview preview, const char *image) {
  Tcl_Interp *interp = view->interp;
  if (survey_do(view, &view->survey->pictures, std::make_unique<AtOnce>(&preview)) != TCL_OK)
    return TCL_ERROR;
  if (preview.made) return preview_put(interp, preview, image) ? TCL_OK : TCL_ERROR;
  Tcl_SetErrorCode(interp, "QOM", "PREVIEW", "READ", nullptr);
  Tcl_SetObjResult(interp, Tcl_NewStringObj(preview.reason.c_str(), -1));
  return TCL_ERROR;
}

/* ::qom::preview pathName time imageName ?-width w? ?-height h? ?-command script? */
int PreviewCmd(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) noexcept {
  if (objc < 4 || objc % 2 != 0)
    return words_wrong(interp, objv,
                       "pathName time imageName ?-width w? ?-height h? ?-command script?");
  QomView *view = view_from_path(interp, objv[1]);
  Preview wanted;
  wanted.width = kMostSide;
  wanted.height = kMostSide;
  Tcl_Obj *script = nullptr;
  if (!view || time_from(interp, objv[2], &wanted.time) != TCL_OK ||
      preview_options(interp, objc - 4, objv + 4, &wanted, &script) != TCL_OK)
    return TCL_ERROR;
  wanted.time = std::clamp(wanted.time, time_of_first_frame(view), time_of_last_record(view));
  const char *image = Tcl_GetString(objv[3]);
  if (!script) return preview_now(view, wanted, image);
  return survey_add(view, &view->survey->pictures,
                    std::make_unique<PreviewTask>(wanted, image, script), true);
}

}  // namespace

int survey_commands_register(Tcl_Interp *interp) {
  static const struct {
    const char *name;
    Tcl_ObjCmdProc *procedure;
  } commands[] = {{"::qom::activity", ActivityCmd},
                  {"::qom::idle", IdleCmd},
                  {"::qom::preview", PreviewCmd},
                  {"::qom::events", EventsCmd},
                  {"::qom::unreliable", UnreliableCmd}};
  for (const auto &command : commands)
    if (!Tcl_CreateObjCommand(interp, command.name, command.procedure, nullptr, nullptr))
      return TCL_ERROR;
  return TCL_OK;
}
