#include "trace.h"

#include <cstdarg>
#include <cstdio>

void trace(const QomView *view, const char *format, ...) {
  if (!view->option.debug) return;
  va_list arguments;
  va_start(arguments, format);
  vprintf(format, arguments);
  va_end(arguments);
}

void trace_verbose(const QomView *view, const char *format, ...) {
  if (!view->option.debug || !view->option.verbose) return;
  va_list arguments;
  va_start(arguments, format);
  vprintf(format, arguments);
  va_end(arguments);
}

struct timespec trace_clock() {
  struct timespec now {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now;
}

double trace_duration_ms(struct timespec start, struct timespec end) {
  return static_cast<double>(end.tv_sec - start.tv_sec) * 1000.0 +
         static_cast<double>(end.tv_nsec - start.tv_nsec) / 1000000.0;
}
