#include "signals.h"

#include <pybind11/pybind11.h>

namespace qompython {

void check_signals() {
  const pybind11::gil_scoped_acquire interpreter;
  if (PyErr_CheckSignals() != 0) throw pybind11::error_already_set();
}

}  // namespace qompython
