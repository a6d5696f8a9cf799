#include "widget/callback.h"

#include <err.h>

#include <cstdio>
#include <cstring>
#include <ctime>

#include "playback/footer.h"
#include "printable.h"
#include "recording/timeline.h"
#include "trace.h"
#include "view_hold.h"

namespace {

constexpr size_t kTimeSize = 64; /* bytes, of a time in words and of its format */

void put_text(Tcl_Obj *dictionary, const char *key, const char *text) {
  Tcl_DictObjPut(nullptr, dictionary, Tcl_NewStringObj(key, -1), Tcl_NewStringObj(text, -1));
}

void put_number(Tcl_Obj *dictionary, const char *key, uint64_t number) {
  Tcl_DictObjPut(nullptr, dictionary, Tcl_NewStringObj(key, -1),
                 Tcl_NewWideIntObj(static_cast<Tcl_WideInt>(number)));
}

Tcl_Obj *notification(const char *type, const char *info) {
  Tcl_Obj *dictionary = Tcl_NewDictObj();
  put_text(dictionary, "type", type);
  put_text(dictionary, "info", info);
  return dictionary;
}

void put_frame(const QomView *view, Tcl_Obj *dictionary) {
  const uint64_t time = time_of_frame(view, view->current_frame);
  char text[kTimeSize];
  timestamp({static_cast<long>(time / 1000000), static_cast<long>(time % 1000000)}, text,
            sizeof text);
  put_text(dictionary, "timestamp", text);
  put_number(dictionary, "timestampInMs", time / 1000);
  put_number(dictionary, "frame", view->current_frame);
}

void put_changed_footer_items(QomView *view, Tcl_Obj *dictionary) {
  for (int i = 0; i < FOOTER_ITEMS_COUNT; ++i) {
    if (!view->footer_item_changed[i]) continue;
    put_text(dictionary, footer_item_name(i), view->footer_items[i] ? view->footer_items[i] : "");
    view->footer_item_changed[i] = false;
  }
}

/* Both own one reference to the object they hold. */
class Reference {
 public:
  explicit Reference(Tcl_Obj *object) : object_(object) { Tcl_IncrRefCount(object_); }
  ~Reference() { Tcl_DecrRefCount(object_); }
  Reference(const Reference &) = delete;
  Reference &operator=(const Reference &) = delete;
  Tcl_Obj *get() const { return object_; }

 private:
  Tcl_Obj *object_;
};

int evaluate(Tcl_Interp *interp, Tcl_Obj *command) {
  Tcl_Preserve(interp);
  const int code = Tcl_EvalObjEx(interp, command, TCL_EVAL_GLOBAL | TCL_EVAL_DIRECT);
  if (code != TCL_OK) Tcl_AddErrorInfo(interp, "\n    (\"callback\" script)");
  Tcl_Release(interp);
  return code;
}

}  // namespace

void callback_get(QomView *view) {
  if (view->callback) Tcl_SetObjResult(view->interp, view->callback);
}

void callback_set(QomView *view, int count, Tcl_Obj *const words[]) {
  Tcl_Obj *callback = count == 1 ? words[0] : Tcl_ConcatObj(count, words);
  Tcl_IncrRefCount(callback); /* first, since it may be the stored one */
  callback_reset(view);
  if (count > 1 || Tcl_GetCharLength(callback) > 0)
    view->callback = callback;
  else
    Tcl_DecrRefCount(callback);
}

void callback_reset(QomView *view) {
  if (view->callback) Tcl_DecrRefCount(view->callback);
  view->callback = nullptr;
}

int callback_invoke(QomView *view, Tcl_Obj *arg) {
  const Reference argument(arg);
  if (!view->callback || Tcl_InterpDeleted(view->interp)) return TCL_OK;
  const Reference command(Tcl_NewListObj(0, nullptr));
  if (Tcl_ListObjAppendList(nullptr, command.get(), view->callback) != TCL_OK) {
    warnx("%s: callback is not a list of words: %s", "callback_invoke",
          PrintableText(Tcl_GetString(view->callback)).get());
    return TCL_ERROR;
  }
  Tcl_ListObjAppendElement(nullptr, command.get(), arg);
  return evaluate(view->interp, command.get());
}

void notify_timestamp(QomView *view) {
  if (!view->interp) return;
  Tcl_Obj *dictionary = notification("timestamp", "timestamp of current frame");
  put_frame(view, dictionary);
  put_changed_footer_items(view, dictionary);
  callback_invoke(view, dictionary);
}

void notify_done(QomView *view) {
  callback_invoke(view, notification("playing_done", "all frames visited"));
}

void notify_error(QomView *view) {
  callback_invoke(view, notification("playing_error", "an error occurred during play"));
}

void notify_unknown(QomView *view) {
  callback_invoke(view, notification("playing_error", "an unkown case occurred"));
}

void timestamp(Tcl_Time time, char *buffer, size_t size) {
  memset(buffer, 0, size);
  const time_t seconds = time.sec;
  struct tm local {};
  if (!localtime_r(&seconds, &local)) return;
  char format[kTimeSize];
  if (strftime(format, sizeof format, "%F %T.%%03u", &local) == 0) return;
  (void)snprintf(buffer, size, format, static_cast<unsigned>(time.usec / 1000));
}

void footer_setup_frontend(ClientData clientData) noexcept {
  auto *view = static_cast<QomView *>(clientData);
  view->first_notice = nullptr;
  const ViewHold hold(view);
  trace(view, "-- %s: informing gui\n", "footer_setup_frontend");
  notify_timestamp(view);
}
