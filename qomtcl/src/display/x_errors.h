/*
 * display/x_errors.h - requests that the X server may refuse.
 */
#ifndef QOMTCL_DISPLAY_X_ERRORS_H
#define QOMTCL_DISPLAY_X_ERRORS_H

#include <tk.h>

/*
 * Catches the X errors of the requests made on one display in its scope, so that they
 * neither end the process nor reach anyone else. Works through Tk, whose own error
 * handler stays in place.
 */
class XErrorTrap {
 public:
  explicit XErrorTrap(Display *display)
      : display_(display),
        handler_(Tk_CreateErrorHandler(display, -1, -1, -1, caught_one, &errors_)) {}
  ~XErrorTrap() { settle(); }
  XErrorTrap(const XErrorTrap &) = delete;
  XErrorTrap &operator=(const XErrorTrap &) = delete;

  /* Waits for the server to have seen every request; true when it refused one. */
  bool refused() {
    settle();
    return errors_ != 0;
  }

 private:
  static int caught_one(ClientData errors, XErrorEvent *) noexcept {
    ++*static_cast<int *>(errors);
    return 0;
  }
  void settle() {
    if (!handler_) return;
    XSync(display_, False);
    Tk_DeleteErrorHandler(handler_);
    handler_ = nullptr;
  }

  Display *display_;
  int errors_ = 0;
  Tk_ErrorHandler handler_;
};

#endif /* QOMTCL_DISPLAY_X_ERRORS_H */
