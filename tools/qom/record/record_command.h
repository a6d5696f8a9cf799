// The subcommand `qom record`.
#ifndef QOM_RECORD_RECORD_COMMAND_H
#define QOM_RECORD_RECORD_COMMAND_H

namespace CLI {
class App;
}

// Adds it to the program's command line. When it is chosen, it records while the line is parsed and
// leaves the exit status in `status`, which lives until the program ends: 0 when the recording was
// finished, 1 when it could not begin or had to be given up.
void add_record_command(CLI::App &app, int &status);

#endif
