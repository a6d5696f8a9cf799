/*
 * widget/callback.h - the script's callback and the notifications it receives.
 *
 * Everything here that runs the callback may end the view. Callers hold it with a
 * ViewHold and look at alive() afterwards.
 */
#ifndef QOMTCL_WIDGET_CALLBACK_H
#define QOMTCL_WIDGET_CALLBACK_H

#include "view.h"

/* Makes the stored callback the interpreter's result; leaves it alone without one. */
void callback_get(QomView *view);

/* Replaces the callback by `count` (1 or more) words; one empty word means none. */
void callback_set(QomView *view, int count, Tcl_Obj *const words[]);

/* Drops the callback. May run twice. */
void callback_reset(QomView *view);

/*
 * Evaluates the callback with `arg`, a fresh object without references, appended as
 * one word, at global level. Takes `arg` over. Returns the Tcl code; TCL_OK without a
 * callback.
 */
int callback_invoke(QomView *view, Tcl_Obj *arg);

/* Report the current frame, its time and the changed footer items; the changed flags
   are cleared also without a callback. */
void notify_timestamp(QomView *view);
/* Report that all frames were visited. */
void notify_done(QomView *view);
/* Report that a move or a step of playing failed. */
void notify_error(QomView *view);
/* Report an outcome that is none of the known ones. */
void notify_unknown(QomView *view);

/* Writes the local time as "YYYY-MM-DD hh:mm:ss.mmm" into `buffer` of `size` bytes (64);
   the empty text when the time cannot be converted. */
void timestamp(Tcl_Time time, char *buffer, size_t size);

/* Timer procedure of view->first_notice: sends the first notification. The client data
   is the QomView. Clears the token first. */
void footer_setup_frontend(ClientData clientData) noexcept;

#endif /* QOMTCL_WIDGET_CALLBACK_H */
