#include "playback/tcl_time.h"

void time_add_milliseconds(Tcl_Time *time, int milliseconds) {
  time->usec += static_cast<long>(milliseconds) * 1000;
  if (time->usec <= 999999) return;
  time->sec += 1;
  time->usec -= 1000000;
}

void time_add_microseconds(Tcl_Time *time, int64_t microseconds) {
  const int64_t sum = time->usec + microseconds;
  time->sec += static_cast<long>(sum / 1000000);
  time->usec = static_cast<long>(sum % 1000000);
}

int time_difference_in_ms(Tcl_Time t1, Tcl_Time t2) {
  return static_cast<int>((t1.sec - t2.sec) * 1000 + (t1.usec - t2.usec) / 1000);
}

bool time_is_less_than(Tcl_Time t1, Tcl_Time t2) {
  return t1.sec != t2.sec ? t1.sec < t2.sec : t1.usec < t2.usec;
}
