#include "widget/callback.h"

void callback_reset(QomView *view) {
  if (view->callback) Tcl_DecrRefCount(view->callback);
  view->callback = nullptr;
}

void notify_timestamp(QomView *) {}
