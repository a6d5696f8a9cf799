/*
 * playback/tcl_time.h - calculating with Tcl's times.
 */
#ifndef QOMTCL_PLAYBACK_TCL_TIME_H
#define QOMTCL_PLAYBACK_TCL_TIME_H

#include <tcl.h>

#include <cstdint>

/* Adds at most 1000 milliseconds to a time. */
void time_add_milliseconds(Tcl_Time *time, int milliseconds);

/* Adds microseconds, not negative. */
void time_add_microseconds(Tcl_Time *time, int64_t microseconds);

/* t1 minus t2 in milliseconds, the part below a millisecond truncated toward zero. */
int time_difference_in_ms(Tcl_Time t1, Tcl_Time t2);

/* Strictly earlier. */
bool time_is_less_than(Tcl_Time t1, Tcl_Time t2);

#endif /* QOMTCL_PLAYBACK_TCL_TIME_H */
