// What the subcommands that take something out of a recording have in common on the command line.
#pragma once

#include <functional>
#include <string>

#include "output_file.h"
#include "source.h"
#include "subcommand.h"

namespace qomtool {

struct TakeoutOptions {
  std::string file;
  std::string out;
  std::string from;  // a good moment, or empty
  std::string to;
  bool utc = false;
  bool force = false;

  OutputFile::Existing existing() const {
    return force ? OutputFile::Existing::replaced : OutputFile::Existing::refused;
  }
};

// FILE, OUT (explained by `what`), --from, --to, --utc and --force, and below the options what a
// time may be. `options` lives as long as the command.
void add_takeout_options(Subcommand &command, TakeoutOptions *options, const std::string &what,
                         const Check &check_out = {});

// Opens the recording and does the work; what goes wrong is told on standard error. Returns the
// exit status.
int take_out(const TakeoutOptions &options, const std::function<void(Source &source)> &work);

}  // namespace qomtool
