/*
 * view_hold.h - keeping a view's memory while a script runs.
 */
#ifndef QOMTCL_VIEW_HOLD_H
#define QOMTCL_VIEW_HOLD_H

#include "view.h"

/* True until the view's window is destroyed or its interpreter is being deleted. */
inline bool view_is_alive(const QomView *view) {
  return view->tkwin != nullptr && !Tcl_InterpDeleted(view->interp);
}

/*
 * Holds the memory of a view and of its interpreter for a scope. A script that runs
 * in the scope may end the view; the record stays readable until the scope is left,
 * and alive() tells whether it may still be used for anything else.
 */
class ViewHold {
 public:
  explicit ViewHold(QomView *view) : view_(view), interp_(view->interp) {
    Tcl_Preserve(interp_);
    Tcl_Preserve(view_);
  }
  ~ViewHold() {
    Tcl_Release(view_);
    Tcl_Release(interp_);
  }
  ViewHold(const ViewHold &) = delete;
  ViewHold &operator=(const ViewHold &) = delete;

  bool alive() const { return view_is_alive(view_); }

 private:
  QomView *view_;
  Tcl_Interp *interp_;
};

#endif /* QOMTCL_VIEW_HOLD_H */
