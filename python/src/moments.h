// Moments and lengths of time between Python and recordings.
#pragma once

#include <pybind11/pybind11.h>

#include <cstdint>

namespace qompython {

// Microseconds since the epoch of a moment: a number of seconds or a timedelta since `first`, or a
// datetime with a time zone. Seconds are rounded to the microsecond; what is out of reach becomes
// the nearest time within it. Throws TypeError for other types, ValueError for NaN and a datetime
// without a zone.
uint64_t time_of(pybind11::handle moment, uint64_t first);

// The inverse: seconds since `first`, of which time_of() makes the same time again (for 71 years).
double seconds_of(uint64_t time, uint64_t first);

// A datetime in UTC. Throws OverflowError beyond the year 9999.
pybind11::object datetime_of(uint64_t time);

}  // namespace qompython
