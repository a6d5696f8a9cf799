/*
 * survey/survey.h - what looks at a view's recording beside the view: two threads, each with a
 * reader of its own, one for small pictures, which come first, and one for what takes long.
 */
#ifndef QOMTCL_SURVEY_SURVEY_H
#define QOMTCL_SURVEY_SURVEY_H

#include <memory>

#include "survey/worker.h"
#include "view.h"

struct Survey {
  explicit Survey(const std::string &path) : pictures(path), reading(path) {}
  Worker pictures;
  Worker reading;
  Tcl_TimerToken token = nullptr; /* the pending look for what is done; none: nothing to wait for */
};

/* Gives a view its survey for the file of a path; called when the view is made. */
void survey_setup(QomView *view, const char *path);

/* Stops its work; nothing is delivered any more. Called when the view ends. */
void survey_end(QomView *view);

/* Queues a task of one of the survey's workers, and delivers it from the event loop. With an error
   in the interpreter when there is no thread to be had. */
int survey_add(QomView *view, Worker *worker, std::unique_ptr<Task> task, bool only);

/* Does the task at once and delivers it. */
int survey_do(QomView *view, Worker *worker, std::unique_ptr<Task> task);

/* The recording has grown. */
void survey_reopen(const QomView *view);

#endif /* QOMTCL_SURVEY_SURVEY_H */
