/*
 * survey/survey_commands.h - commands of the ::qom namespace that tell of a recording as a whole.
 */
#ifndef QOMTCL_SURVEY_SURVEY_COMMANDS_H
#define QOMTCL_SURVEY_SURVEY_COMMANDS_H

#include <tcl.h>

/* Creates ::qom::activity, idle, preview, events and unreliable. TCL_OK or TCL_ERROR. */
int survey_commands_register(Tcl_Interp *interp);

#endif /* QOMTCL_SURVEY_SURVEY_COMMANDS_H */
