/* qomtest::clock: Tcl's clock made to run ahead. Tcl's own waits still take the real one. */

#include "support.h"

namespace {

struct Clock {
  Tcl_GetTimeProc *get = nullptr; /* the real one; none before the first use */
  Tcl_ScaleTimeProc *scale = nullptr;
  int step = 0;   /* milliseconds that every reading adds */
  long ahead = 0; /* milliseconds, of the real time */
};
Clock the_clock;

void time_read(Tcl_Time *time, ClientData data) {
  the_clock.get(time, data);
  the_clock.ahead += the_clock.step;
  time->usec += the_clock.ahead % 1000 * 1000;
  time->sec += the_clock.ahead / 1000 + time->usec / 1000000;
  time->usec %= 1000000;
}

}  // namespace

int clock_command(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) {
  if (objc != 2 || Tcl_GetIntFromObj(interp, objv[1], &the_clock.step) != TCL_OK) return TCL_ERROR;
  if (the_clock.step == 0) the_clock.ahead = 0;
  if (the_clock.get) return TCL_OK;
  ClientData data = nullptr;
  Tcl_QueryTimeProc(&the_clock.get, &the_clock.scale, &data);
  Tcl_SetTimeProc(time_read, the_clock.scale, data);
  return TCL_OK;
}
