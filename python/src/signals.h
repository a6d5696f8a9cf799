// Signals, such as that of Ctrl-C, while the interpreter lock is released.
#pragma once

namespace qompython {

// Runs the handlers of signals that came; in the main thread, as Python does. Takes the interpreter
// lock meanwhile. Throws what a handler raised.
void check_signals();

// The same in two steps, for a function of C that is called back: whether a handler raised, and
// what it raised is thrown.
bool signal_has_failed();
void throw_signal_failure();

}  // namespace qompython
