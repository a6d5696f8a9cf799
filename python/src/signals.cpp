#include "signals.h"

#include <pybind11/pybind11.h>

namespace qompython {

bool signal_has_failed() {
  const pybind11::gil_scoped_acquire interpreter;
  return PyErr_CheckSignals() != 0;
}

void throw_signal_failure() {
  const pybind11::gil_scoped_acquire interpreter;
  if (PyErr_Occurred()) throw pybind11::error_already_set();
}

void check_signals() {
  if (signal_has_failed()) throw_signal_failure();
}

}  // namespace qompython
