// Signals, such as that of Ctrl-C, while the interpreter lock is released.
#pragma once

namespace qompython {

// Runs the handlers of signals that came; in the main thread, as Python does. Takes the interpreter
// lock meanwhile. Throws what a handler raised.
void check_signals();

}  // namespace qompython
