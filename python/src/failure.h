// What goes wrong, as C++ exceptions that module.cpp turns into Python's.
#pragma once

#include <stdexcept>
#include <string>

namespace qompython {

// qom.Error and its subclasses.
struct Error : std::runtime_error {
  using std::runtime_error::runtime_error;
};
struct NotARecording : Error {
  using Error::Error;
};
struct Damaged : Error {
  using Error::Error;
};

// ValueError: the recording was closed.
struct Closed : std::runtime_error {
  Closed() : std::runtime_error("the recording is closed") {}
};

// OSError.
struct SystemFailure {
  int number;  // an errno
  std::string file;
};

// Throws what the library's last call in this thread failed with: what the system refused, or a
// `Fault` that says in words what is wrong with the recording of this name.
template <typename Fault>
[[noreturn]] void fail(const std::string &name);

}  // namespace qompython
