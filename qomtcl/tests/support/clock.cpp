/* qomtest::clock and qomtest::hurry: clocks made to run ahead, or to stand. Tcl's own waits still
   take the real ones. */

#include <time.h>

#include "support.h"

namespace {

Tcl_GetTimeProc *real_time = nullptr; /* none before the first use */
int step = 0;                         /* milliseconds that every reading adds */
long ahead = 0;                       /* milliseconds, of the real time or of `standing` */
Tcl_Time standing{};                  /* where the clock was made to stand; zero: it goes */

void time_read(Tcl_Time *time, ClientData data) {
  real_time(time, data);
  if (standing.sec != 0) *time = standing;
  ahead += step;
  time->usec += ahead % 1000 * 1000;
  time->sec += ahead / 1000 + time->usec / 1000000;
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
  int more = 0;
  if (objc < 2 || Tcl_GetIntFromObj(interp, objv[1], &step) != TCL_OK ||
      (objc == 3 && Tcl_GetIntFromObj(interp, objv[2], &more) != TCL_OK))
    return TCL_ERROR;
  if (!real_time) {
    Tcl_ScaleTimeProc *scale = nullptr;
    Tcl_QueryTimeProc(&real_time, &scale, nullptr);
    Tcl_SetTimeProc(time_read, scale, nullptr);
  }
  if (objc == 2) standing = {};
  if (objc == 3 && standing.sec == 0) real_time(&standing, nullptr);
  ahead = objc == 2 && step == 0 ? 0 : ahead + more;
  return TCL_OK;
}
