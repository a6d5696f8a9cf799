/*
 * bench_view.h - a view in a real window, for benchmarks. Needs DISPLAY.
 */
#ifndef BENCH_VIEW_H
#define BENCH_VIEW_H

#include <string>

#include "view.h"

namespace bench {

/* Starts an interpreter with Tk and qom::view; one per process. Ends the process with a
   message when there is no display. */
Tcl_Interp *interp_start(const char *program);

/* Evaluates a script and returns its result. Ends the process with its message when it
   fails. */
std::string evaluate(Tcl_Interp *interp, const std::string &script);

/* The path of a recording yet to be written; the file goes when the process ends. */
std::string temporary_recording();

/* Writes a recording of one picture of width x height, unlike in all its parts, and
   returns its path. */
std::string picture_recording(int width, int height);

/* Shows a recording in a view `.v` of a window of this size, displayed once. */
QomView *view_show(Tcl_Interp *interp, const std::string &file, int width, int height);

/* The CPU clock of the X server of a display on this machine. */
clockid_t server_clock(Display *display);

}  // namespace bench

#endif
