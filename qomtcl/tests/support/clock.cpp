/* qomtest::clock and qomtest::hurry: clocks made to run ahead. Tcl's own waits still take the
   real ones. */

#include <time.h>

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

int hurry = 0;    /* milliseconds that every reading of the monotonic clock adds */
long hurried = 0; /* milliseconds, what they have added up to */

}  // namespace

extern "C" {
int __real_clock_gettime(clockid_t, timespec *);
int __wrap_clock_gettime(clockid_t clock, timespec *time) {
  const int result = __real_clock_gettime(clock, time);
  if (clock == CLOCK_MONOTONIC) time->tv_sec += (hurried += hurry) / 1000;
  return result;
}
}

int hurry_command(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) {
  return objc == 2 ? Tcl_GetIntFromObj(interp, objv[1], &hurry) : TCL_ERROR;
}

int clock_command(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) {
  if (objc != 2 || Tcl_GetIntFromObj(interp, objv[1], &the_clock.step) != TCL_OK) return TCL_ERROR;
  if (the_clock.step == 0) the_clock.ahead = 0;
  if (the_clock.get) return TCL_OK;
  ClientData data = nullptr;
  Tcl_QueryTimeProc(&the_clock.get, &the_clock.scale, &data);
  Tcl_SetTimeProc(time_read, the_clock.scale, data);
  return TCL_OK;
}
