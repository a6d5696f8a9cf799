/*
 * support.h - the package qomtest: the view built once more, with commands that tests need.
 *
 *   qomtest::record FILE TEXT LINE
 *       writes a recording from its text form (docs/text.md); the compressed image that the line
 *       holds is made to be broken
 *   qomtest::apply PATH INDEX...  applies records to a view and asks for a display; a list of
 *                                 0 and 1 for each
 *   qomtest::check PATH FILE INDEXES ?-uncapped?
 *       compares all of the view's window, read back from the server, with a picture
 *       computed from those records of FILE; the empty text, or what differs
 *   qomtest::settle               returns when no event is left in the process or on its way
 *   qomtest::ask PATH shared 0    whether the picture lies in shared memory
 *   qomtest::ask PATH first N     index of the first record that the step from frame N applies
 *   qomtest::ask PATH ceiling N   number of key frames, which from now on thin themselves out
 *                                 beyond so many bytes
 *   qomtest::ask PATH bytes 0     what the key frames take
 *   qomtest::clock N ?M?          every reading of Tcl's clock puts it N milliseconds ahead;
 *                                 with M it stands from now on, M milliseconds further on; 0
 *                                 alone puts it right; only for moves and settle, not for vwait
 *   qomtest::hurry N              every reading of the monotonic clock puts it N milliseconds
 *                                 ahead, so that with 1000 a round pauses after each record; 0
 *                                 stops that
 *   qomtest::fault NAME N         makes the n-th call of a function fail, -1: all, 0: none
 */
#ifndef QOMTCL_TESTS_SUPPORT_H
#define QOMTCL_TESTS_SUPPORT_H

#include "view.h"

/* The view of a path; null with an error message when there is none. */
QomView *view_of(Tcl_Interp *interp, Tcl_Obj *path);

int record_command(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]);
int check_command(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]);
int clock_command(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]);
int hurry_command(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]);
int fault_command(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]);

#endif
