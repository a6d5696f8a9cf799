/*
 * survey/script.h - a command prefix of a script that is called when something is done.
 */
#ifndef QOMTCL_SURVEY_SCRIPT_H
#define QOMTCL_SURVEY_SCRIPT_H

#include <initializer_list>

#include "view.h"

class Script {
 public:
  /* Null: nobody is called. */
  explicit Script(Tcl_Obj *prefix) : prefix_(prefix) {
    if (prefix_) Tcl_IncrRefCount(prefix_);
  }
  ~Script() {
    if (prefix_) Tcl_DecrRefCount(prefix_);
  }
  Script(const Script &) = delete;
  Script &operator=(const Script &) = delete;

  explicit operator bool() const { return prefix_ != nullptr; }

  /* Calls it with words; its errors are the background's. It may end the view. */
  void call(QomView *view, std::initializer_list<Tcl_Obj *> words) const;

 private:
  Tcl_Obj *prefix_;
};

#endif /* QOMTCL_SURVEY_SCRIPT_H */
