/*
 * widget/instance.h - the instance command of a view.
 */
#ifndef QOMTCL_WIDGET_INSTANCE_H
#define QOMTCL_WIDGET_INSTANCE_H

#include "view.h"

/* pathName subcommand ?arg ...?; the client data is the QomView. */
int ViewInstanceCmd(ClientData clientData, Tcl_Interp *interp, int objc,
                    Tcl_Obj *const objv[]) noexcept;

/*
 * Whether the view still has its window. The command outlives it where the command's end is
 * what ends the view, and while its traces run: false then, with error code and result set.
 * `name` is what the script calls the view.
 */
bool window_exists(const QomView *view, Tcl_Obj *name);

/* A frame number brought into 0..number_of_frames. */
size_t frame_limited(const QomView *view, Tcl_WideInt number);

/* Frees the texts of the scroll commands and sets both to none. May run twice. */
void options_teardown(QomView *view);

/* Registers the commands of the ::qom namespace that take a view's path name. Returns
   a Tcl code. Called once per interpreter by Qomtcl_Init(). */
int view_commands_register(Tcl_Interp *interp);

#endif /* QOMTCL_WIDGET_INSTANCE_H */
