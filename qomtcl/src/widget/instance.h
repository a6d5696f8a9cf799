/*
 * widget/instance.h - the instance command of a view.
 */
#ifndef QOMTCL_WIDGET_INSTANCE_H
#define QOMTCL_WIDGET_INSTANCE_H

#include "view.h"

/* pathName subcommand ?arg ...?; the client data is the QomView. */
int ViewInstanceCmd(ClientData clientData, Tcl_Interp *interp, int objc,
                    Tcl_Obj *const objv[]) noexcept;

/* The frame number in a word, brought into 0..number_of_frames. Returns a Tcl code. */
int frame_from_word(QomView *view, Tcl_Obj *word, size_t *frame);

/* Frees the texts of the scroll commands and sets both to none. May run twice. */
void options_teardown(QomView *view);

/* Registers the commands of the ::qom namespace that take a view's path name. Returns
   a Tcl code. Called once per interpreter by Qomtcl_Init(). */
int view_commands_register(Tcl_Interp *interp);

#endif /* QOMTCL_WIDGET_INSTANCE_H */
