/*
 * widget/package.h - the entry point of the package qom::view.
 */
#ifndef QOMTCL_WIDGET_PACKAGE_H
#define QOMTCL_WIDGET_PACKAGE_H

#include <tcl.h>

/*
 * Called by Tcl when the extension is loaded into an interpreter: initialises the
 * stub tables of Tcl and Tk, registers ::qom::view and the further commands of the
 * ::qom namespace, provides the package, and makes standard output line buffered.
 * Returns a Tcl code; the message is Tcl's or the stub library's.
 */
extern "C" __attribute__((visibility("default"))) int Qomtcl_Init(Tcl_Interp *interp);

#endif /* QOMTCL_WIDGET_PACKAGE_H */
