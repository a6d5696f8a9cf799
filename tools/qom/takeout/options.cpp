#include "options.h"

#include "clock.h"
#include "commands.h"
#include "lettering.h"

namespace qomtool {

void add_takeout_options(Subcommand &command, TakeoutOptions *options, const std::string &what,
                         const Check &check_out) {
  command.recording("FILE", &options->file, "the recording, which is only read");
  command.file("OUT", &options->out, what, check_out);
  command.option("--from", "T", &options->from, "where to begin; the start when not given",
                 check_moment);
  command.option("--to", "T", &options->to, "where to end; the end when not given", check_moment);
  command.flag("--utc", &options->utc, "times of the clock are in UTC, not in the local zone");
  command.flag("--force", &options->force, "replace OUT when it exists");
  command.footer(
      "A time T is one since the first picture (90, 90.5, 1:30, 1:02:03.5, 1h2m3s), a time of day\n"
      "(@14:03:05), a date and clock (\"2026-11-22 14:03:05\"), or that of a record (#123).");
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
  } catch (const NoSuchRecord &error) {
    complain(options.file, error.what());
  } catch (const OutputError &error) {
    complain(error.what());
  } catch (const LetteringError &error) {
    complain(error.what());
  }
  return kFailed;
}

}  // namespace qomtool
