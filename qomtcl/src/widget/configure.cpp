#include <climits>
#include <cstring>

#include "display/scale.h"
#include "display/scaling.h"
#include "trace.h"
#include "widget/instance.h"
#include "widget/subcommands.h"

namespace {

const char *const kOptions[] = {"-debug",          "-framerate", "-verbose", "-xscrollcommand",
                                "-yscrollcommand", "-scaling",   nullptr};
enum Option { kDebug, kFramerate, kVerbose, kXScrollCommand, kYScrollCommand, kScaling };

constexpr int kMaxFramerate = 99;

int option_find(Tcl_Interp *interp, Tcl_Obj *word, int *index) {
  return Tcl_GetIndexFromObjStruct(interp, word, kOptions, sizeof kOptions[0], "option", 0, index);
}

/* -- asking -- */

void put_number(Tcl_Obj *dictionary, const char *key, int number) {
  Tcl_DictObjPut(nullptr, dictionary, Tcl_NewStringObj(key, -1), Tcl_NewIntObj(number));
}

int configure_options_get_all(QomView *view) {
  Tcl_Obj *dictionary = Tcl_NewDictObj();
  put_number(dictionary, "framerate", view->option.framerate);
  put_number(dictionary, "debug", view->option.debug);
  put_number(dictionary, "verbose", view->option.verbose);
  put_number(dictionary, "scaling", view->scaling.on);
  Tcl_SetObjResult(view->interp, dictionary);
  return TCL_OK;
}

Tcl_Obj *text_or_empty(const char *text) {
  return text ? Tcl_NewStringObj(text, -1) : Tcl_NewObj();
}

Tcl_Obj *option_value(const QomView *view, int option) {
  switch (option) {
    case kDebug:
      return Tcl_NewIntObj(view->option.debug);
    case kFramerate:
      return Tcl_NewIntObj(view->option.framerate);
    case kVerbose:
      return Tcl_NewIntObj(view->option.verbose);
    case kXScrollCommand:
      return text_or_empty(view->xScrollCmd);
    case kYScrollCommand:
      return text_or_empty(view->yScrollCmd);
    default:
      return Tcl_NewIntObj(view->scaling.on);
  }
}

int configure_option_get(QomView *view, Tcl_Obj *name) {
  int option = 0;
  if (option_find(view->interp, name, &option) != TCL_OK) return TCL_ERROR;
  Tcl_SetObjResult(view->interp, option_value(view, option));
  return TCL_OK;
}

/* -- setting -- */

int configure_boolean(QomView *view, Tcl_Obj *value, bool *stored) {
  int on = 0;
  if (Tcl_GetBooleanFromObj(view->interp, value, &on) != TCL_OK) return TCL_ERROR;
  *stored = on != 0;
  return TCL_OK;
}

int configure_framerate(QomView *view, Tcl_Obj *value) {
  int framerate = 0;
  if (Tcl_GetIntFromObj(view->interp, value, &framerate) != TCL_OK) return TCL_ERROR;
  if (1 <= framerate && framerate <= kMaxFramerate)
    view->option.framerate = static_cast<uint8_t>(framerate);
  return TCL_OK;
}

char *ckdup(const char *text) {
  const size_t size = strlen(text) + 1;
  char *copy = size <= INT_MAX ? Tcl_AttemptAlloc(static_cast<unsigned>(size)) : nullptr;
  if (copy) memcpy(copy, text, size);
  return copy;
}

void text_reset(char **text) {
  if (*text) Tcl_Free(*text);
  *text = nullptr;
}

/* The empty text is no command. */
int configure_scroll_command(QomView *view, Tcl_Obj *value, char **command) {
  text_reset(command);
  const char *text = Tcl_GetString(value);
  if (*text == '\0') return TCL_OK;
  *command = ckdup(text);
  if (*command) return TCL_OK;
  Tcl_SetErrorCode(view->interp, "QOM", "CONFIGURE", "SET", nullptr);
  Tcl_SetObjResult(view->interp, Tcl_ObjPrintf("failed to allocate memory for %s", text));
  return TCL_ERROR;
}

int configure_scaling(QomView *view, Tcl_Obj *value) {
  bool on = false;
  if (configure_boolean(view, value, &on) != TCL_OK) return TCL_ERROR;
  if (on != view->scaling.on) return scaling_switch_mode(view);
  trace(view, "-- %s: scaling=%d unchanged\n", "configure_scaling", on);
  return TCL_OK;
}

int option_set(QomView *view, int option, Tcl_Obj *value) {
  switch (option) {
    case kDebug:
      return configure_boolean(view, value, &view->option.debug);
    case kFramerate:
      return configure_framerate(view, value);
    case kVerbose:
      return configure_boolean(view, value, &view->option.verbose);
    case kXScrollCommand:
      return configure_scroll_command(view, value, &view->xScrollCmd);
    case kYScrollCommand:
      return configure_scroll_command(view, value, &view->yScrollCmd);
    default:
      return configure_scaling(view, value);
  }
}

int value_is_missing(QomView *view, Tcl_Obj *name) {
  Tcl_SetErrorCode(view->interp, "QOM", "CONFIGURE", "SET", nullptr);
  Tcl_SetObjResult(view->interp,
                   Tcl_ObjPrintf("value for option '%s' is missing", Tcl_GetString(name)));
  return TCL_ERROR;
}

int configure_options_set(QomView *view, int count, Tcl_Obj *const words[]) {
  for (int i = 0; i < count; i += 2) {
    int option = 0;
    if (option_find(view->interp, words[i], &option) != TCL_OK) return TCL_ERROR;
    if (i + 1 == count) return value_is_missing(view, words[i]);
    if (option_set(view, option, words[i + 1]) != TCL_OK) return TCL_ERROR;
  }
  return TCL_OK;
}

}  // namespace

int cmd_configure(QomView *view, int objc, Tcl_Obj *const objv[]) {
  switch (objc) {
    case 2:
      return configure_options_get_all(view);
    case 3:
      return configure_option_get(view, objv[2]);
    default:
      return configure_options_set(view, objc - 2, objv + 2);
  }
}

void options_teardown(QomView *view) {
  text_reset(&view->xScrollCmd);
  text_reset(&view->yScrollCmd);
}
