#include "playback/navigation.h"

void going_cancel(QomView *view) {
  Tcl_DeleteTimerHandler(view->going.token);
  view->going.token = nullptr;
}
