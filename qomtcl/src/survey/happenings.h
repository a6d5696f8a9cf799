/*
 * survey/happenings.h - what a recording tells in words over its whole length, and where damage
 * makes its picture untrustworthy. Both read the file.
 */
#ifndef QOMTCL_SURVEY_HAPPENINGS_H
#define QOMTCL_SURVEY_HAPPENINGS_H

#include <string>
#include <vector>

#include "survey/script.h"
#include "survey/worker.h"

struct Happening {
  uint64_t time;    /* microseconds */
  const char *kind; /* app, host, user, ip or size */
  std::string text;
};

/* Texts that change, and sizes of the screen that change, in the order of their times. */
std::vector<Happening> happenings_find(Source &source);

/* Stretches in which the picture may be wrong; those to the end of the recording end with its last
   record. False when the file cannot be read. */
bool untrusted_find(Source &source, std::vector<QomStretch> *stretches);

/* Lists of times as Tcl has them. */
Tcl_Obj *stretches_list(const std::vector<QomStretch> &stretches);

/* Both deliver to their script, or into the result of the interpreter when there is none. */
class HappeningsTask : public Task {
 public:
  explicit HappeningsTask(Tcl_Obj *script) : script_(script) {}
  void run(Source &source) override { found_ = happenings_find(source); }
  void deliver(QomView *view, bool done) override;

 private:
  Script script_;
  std::vector<Happening> found_;
};

class UntrustedTask : public Task {
 public:
  explicit UntrustedTask(Tcl_Obj *script) : script_(script) {}
  void run(Source &source) override { untrusted_find(source, &found_); }
  void deliver(QomView *view, bool done) override;

 private:
  Script script_;
  std::vector<QomStretch> found_;
};

#endif /* QOMTCL_SURVEY_HAPPENINGS_H */
