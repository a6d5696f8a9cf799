#include "options.h"

#include <CLI/CLI.hpp>

#include "arguments.h"
#include "clock.h"
#include "commands.h"
#include "lettering.h"

namespace qomtool {

void add_takeout_options(CLI::App &command, TakeoutOptions &options, const std::string &what) {
  command.add_option("FILE", options.file, "the recording")
      ->check(check_recording_name)
      ->type_name("")
      ->required();
  command.add_option("OUT", options.out, what)->type_name("")->required();
  command.add_option("--from", options.from, "where to begin; the first picture when not given")
      ->check(check_moment)
      ->type_name("T");
  command.add_option("--to", options.to, "where to end; the end when not given")
      ->check(check_moment)
      ->type_name("T");
  command.add_flag("--utc", options.utc, "times of the clock are in UTC, not in the local zone");
  command.add_flag("--force", options.force, "replace OUT when it exists");
}

int take_out(const TakeoutOptions &options, const std::function<void(Source &source)> &work) {
  if (options.utc) use_utc();
  Recording recording = open_recording(options.file);
  if (!recording) return kUnreadable;
  try {
    Source source(options.file, std::move(recording));
    work(source);
    return kGood;
  } catch (const SourceError &error) {
    complain(options.file, error.what());
  } catch (const OutputError &error) {
    complain(error.what());
  } catch (const LetteringError &error) {
    complain(error.what());
  }
  return kFailed;
}

}  // namespace qomtool
