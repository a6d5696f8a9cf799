/*
 * widget/creation.h - the class command, which creates views.
 */
#ifndef QOMTCL_WIDGET_CREATION_H
#define QOMTCL_WIDGET_CREATION_H

#include "view.h"

/*
 * ::qom::view pathName file. Creates the view, its window and its instance command,
 * shows the first full picture at the next display, and leaves the path name as the
 * result. On failure the result and the error code say why, and nothing of the view
 * is left: no window, no command, no open file.
 */
int ViewClassCmd(ClientData clientData, Tcl_Interp *interp, int objc,
                 Tcl_Obj *const objv[]) noexcept;

#endif /* QOMTCL_WIDGET_CREATION_H */
