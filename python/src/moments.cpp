#include "moments.h"

#include <datetime.h>

#include <algorithm>
#include <cmath>

namespace qompython {
namespace {

namespace py = pybind11;

constexpr int64_t kSecond = 1'000'000;
constexpr int64_t kDay = 86'400 * kSecond;
constexpr int64_t kFar = int64_t{1} << 62;  // as QOM_MAX_TIME

void import_datetime() {
  if (PyDateTimeAPI) return;
  PyDateTime_IMPORT;
  if (!PyDateTimeAPI) throw py::error_already_set();
}

py::object epoch() {
  const py::module_ datetime = py::module_::import("datetime");
  return datetime.attr("datetime")(1970, 1, 1,
                                   py::arg("tzinfo") = datetime.attr("timezone").attr("utc"));
}

int64_t microseconds_of_delta(py::handle delta) {
  const int64_t far_days = kFar / kDay - 1;
  const int64_t days =
      std::clamp<int64_t>(PyDateTime_DELTA_GET_DAYS(delta.ptr()), -far_days, far_days);
  return days * kDay + PyDateTime_DELTA_GET_SECONDS(delta.ptr()) * kSecond +
         PyDateTime_DELTA_GET_MICROSECONDS(delta.ptr());
}

int64_t microseconds_of_number(py::handle number) {
  const double seconds = PyFloat_AsDouble(number.ptr());
  if (seconds == -1 && PyErr_Occurred()) {
    if (!PyErr_ExceptionMatches(PyExc_TypeError)) throw py::error_already_set();
    PyErr_Clear();
    throw py::type_error("a moment is a number of seconds, a timedelta or a datetime, not " +
                         std::string(py::str(py::type::of(number).attr("__name__"))));
  }
  if (std::isnan(seconds)) throw py::value_error("a moment cannot be NaN");
  const double far = static_cast<double>(kFar);
  return std::llround(std::clamp(seconds * static_cast<double>(kSecond), -far, far));
}

int64_t microseconds_of_datetime(py::handle moment) {
  if (moment.attr("utcoffset")().is_none())
    throw py::value_error("a datetime needs a time zone to be a moment of a recording");
  const py::object since = moment - epoch();
  return microseconds_of_delta(since);
}

}  // namespace

uint64_t time_of(py::handle moment, uint64_t first) {
  import_datetime();
  if (PyDateTime_Check(moment.ptr()))
    return static_cast<uint64_t>(std::clamp<int64_t>(microseconds_of_datetime(moment), 0, kFar));
  const int64_t since =
      PyDelta_Check(moment.ptr()) ? microseconds_of_delta(moment) : microseconds_of_number(moment);
  const auto begin = static_cast<int64_t>(first);  // at most kFar
  return static_cast<uint64_t>(begin + std::clamp(since, -begin, kFar - begin));
}

double seconds_of(uint64_t time, uint64_t first) {
  return static_cast<double>(static_cast<int64_t>(time - first)) / static_cast<double>(kSecond);
}

py::object datetime_of(uint64_t time) {
  const py::object timedelta = py::module_::import("datetime").attr("timedelta");
  return epoch() + timedelta(py::arg("microseconds") = time);
}

}  // namespace qompython
