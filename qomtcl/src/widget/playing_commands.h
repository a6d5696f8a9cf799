/*
 * widget/playing_commands.h - commands of the ::qom namespace about moments and how fast they pass.
 */
#ifndef QOMTCL_WIDGET_PLAYING_COMMANDS_H
#define QOMTCL_WIDGET_PLAYING_COMMANDS_H

#include <tcl.h>

#include <cstdint>

/* Creates ::qom::framerate, seektime, position, speed and change. TCL_OK or TCL_ERROR. */
int playing_commands_register(Tcl_Interp *interp);

/* Frames a second that ::qom::framerate has set for new views of the interpreter, 1..99; 0: as
   recorded. 10 when nothing was set. */
uint8_t framerate_wished(Tcl_Interp *interp);

#endif /* QOMTCL_WIDGET_PLAYING_COMMANDS_H */
