/*
 * trace.h - the trace on standard output and its clock.
 */
#ifndef QOMTCL_TRACE_H
#define QOMTCL_TRACE_H

#include <time.h>

#include "view.h"

/* Prints to standard output as printf does while the view's -debug option is on. The
   format carries the whole line: "-- %s: text\n" with the reporting function's name. */
__attribute__((format(printf, 2, 3))) void trace(const QomView *view, const char *format, ...);

/* The same while both -debug and -verbose are on. */
__attribute__((format(printf, 2, 3))) void trace_verbose(const QomView *view, const char *format,
                                                         ...);

/* CLOCK_MONOTONIC. */
struct timespec trace_clock();

/* Milliseconds from `start` to `end`. */
double trace_duration_ms(struct timespec start, struct timespec end);

#endif /* QOMTCL_TRACE_H */
