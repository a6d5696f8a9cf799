/*
 * widget/subcommands.h - the larger subcommands of the instance command.
 *
 * objv is the whole command, its first words the command's name and the subcommand. Each
 * returns a Tcl code and leaves its result in the view's interpreter.
 */
#ifndef QOMTCL_WIDGET_SUBCOMMANDS_H
#define QOMTCL_WIDGET_SUBCOMMANDS_H

#include "view.h"

/* Asks for all options, for one, or sets pairs in their order; what was set before a pair
   that fails stays set. */
int cmd_configure(QomView *view, int objc, Tcl_Obj *const objv[]);

/* A dictionary of what is known about the recording and the current frame. */
int cmd_info(QomView *view, int objc, Tcl_Obj *const objv[]);

/* The frame image as text: a line per row, each pixel as hexadecimal digits. */
int cmd_dump(QomView *view, int objc, Tcl_Obj *const objv[]);

#endif /* QOMTCL_WIDGET_SUBCOMMANDS_H */
