#include "survey/survey.h"

#include <climits>
#include <cstdlib>

#include "view_hold.h"

namespace {

constexpr int kLook = 4; /* milliseconds between two looks for what is done */

/* Delivers what is done; false when the view has ended by that. */
bool deliver(QomView *view, Worker *worker, const ViewHold &hold) {
  bool done = false;
  while (const std::unique_ptr<Task> task = worker->take(&done)) {
    task->deliver(view, done);
    if (!hold.alive()) return false;
  }
  return true;
}

void look(ClientData clientData) noexcept;

void look_schedule(QomView *view) {
  Survey *survey = view->survey;
  if (survey->token || (!survey->pictures.is_busy() && !survey->reading.is_busy())) return;
  survey->token = Tcl_CreateTimerHandler(kLook, look, view);
}

void look(ClientData clientData) noexcept {
  auto *view = static_cast<QomView *>(clientData);
  view->survey->token = nullptr;
  const ViewHold hold(view);
  if (!hold.alive()) return;
  if (deliver(view, &view->survey->pictures, hold) && deliver(view, &view->survey->reading, hold))
    look_schedule(view);
}

int no_thread(const QomView *view) {
  Tcl_SetErrorCode(view->interp, "QOM", "SURVEY", "THREAD", nullptr);
  Tcl_SetObjResult(view->interp, Tcl_NewStringObj("there is no thread to be had", -1));
  return TCL_ERROR;
}

}  // namespace

void survey_setup(QomView *view, const char *path) {
  char whole[PATH_MAX];
  view->survey = new Survey(realpath(path, whole) ? whole : path);
}

void survey_end(QomView *view) {
  if (!view->survey) return;
  Tcl_DeleteTimerHandler(view->survey->token);
  delete view->survey;
  view->survey = nullptr;
}

int survey_add(QomView *view, Worker *worker, std::unique_ptr<Task> task, bool only) {
  if (!worker->add(std::move(task), only)) return no_thread(view);
  look_schedule(view);
  return TCL_OK;
}

int survey_do(QomView *view, Worker *worker, std::unique_ptr<Task> task) {
  Task *wanted = task.get();
  if (!worker->add(std::move(task), false)) return no_thread(view);
  worker->wait();
  const ViewHold hold(view);
  bool done = false;
  while (const std::unique_ptr<Task> ended = worker->take(&done)) {
    ended->deliver(view, done);
    if (!hold.alive() || ended.get() == wanted) break;
  }
  return TCL_OK;
}

void survey_reopen(const QomView *view) {
  view->survey->pictures.reopen();
  view->survey->reading.reopen();
}
