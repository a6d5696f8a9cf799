// The subcommands of qom. Each function adds one to the program's command line; when it is chosen,
// it does its work while the line is parsed and leaves the exit status in `status`, which lives
// until the program ends.
#pragma once

namespace CLI {
class App;
}

void add_info_command(CLI::App &app, int &status);
void add_dump_command(CLI::App &app, int &status);
void add_verify_command(CLI::App &app, int &status);
void add_repair_command(CLI::App &app, int &status);
void add_cut_command(CLI::App &app, int &status);
void add_make_command(CLI::App &app, int &status);
void add_record_command(CLI::App &app, int &status);
void add_picture_command(CLI::App &app, int &status);
void add_export_command(CLI::App &app, int &status);

namespace qomtool {

enum ExitStatus {
  kGood = 0,
  kFailed = 1,     // the work could not be done, or damage was found
  kUsage = 2,      // the command line is wrong
  kUnreadable = 3  // the input is not a recording or cannot be read
};

}  // namespace qomtool
