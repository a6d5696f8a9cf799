// The command line of `qom record`.
#include <fcntl.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "arguments.h"
#include "commands.h"
#include "counted.h"
#include "error.h"
#include "formatted.h"
#include "qom/writer.h"
#include "recorder.h"
#include "recording.h"
#include "subcommand.h"
#include "text/quote.h"

namespace {

using namespace qom::record;
using qomtool::Check;
using qomtool::counted;
using qomtool::formatted;
using qomtool::quoted_name;
using qomtool::Subcommand;

struct ReaderCloser {
  void operator()(QomReader *reader) const { qom_reader_close(reader); }
};

const char *ending_text(Ending ending) {
  switch (ending) {
    case Ending::signal:
      return "stopped";
    case Ending::duration:
      return "time is up";
    case Ending::server_gone:
      return "the X server ended";
    case Ending::window_closed:
      return "the window was closed";
  }
  return "";
}

double percent(uint64_t part, uint64_t whole) {
  return whole ? 100.0 * static_cast<double>(part) / static_cast<double>(whole) : 0.0;
}

// What became of the file, as a reader finds it.
void print_summary(const std::string &path) {
  const std::unique_ptr<QomReader, ReaderCloser> reader(qom_reader_open(path.c_str()));
  QomReaderInfo info{};
  if (!reader || qom_reader_info(reader.get(), &info) != 0) {
    throw RecordError("cannot read " + quoted_name(path) + " back: " + qom_reader_error());
  }
  const size_t count = qom_reader_index_length(reader.get());
  const QomIndexEntry *index = qom_reader_index(reader.get());
  const uint64_t began = qom_info_header(reader.get())->timestamp;
  const double seconds = count ? static_cast<double>(index[count - 1].timestamp - began) / 1e6 : 0;
  std::fprintf(stderr, "%s: %.1f s, %s, %ju bytes\n", quoted_name(path).c_str(), seconds,
               counted(count, "record").c_str(), static_cast<uintmax_t>(info.file_size));
  const uint64_t changes = info.record_bytes - info.checkpoint_bytes;
  std::fprintf(stderr, "%s: %ju bytes (%.1f%%), changes: %ju bytes (%.1f%%)\n",
               counted(info.checkpoint_count, "checkpoint").c_str(),
               static_cast<uintmax_t>(info.checkpoint_bytes),
               percent(info.checkpoint_bytes, info.record_bytes), static_cast<uintmax_t>(changes),
               percent(changes, info.record_bytes));
}

// Whether Ctrl-C reaches this process: it is in the foreground of a terminal.
bool ctrl_c_reaches() {
  const int terminal = open("/dev/tty", O_RDONLY | O_NOCTTY | O_CLOEXEC);
  if (terminal < 0) return false;
  const bool foreground = tcgetpgrp(terminal) == getpgrp();
  close(terminal);
  return foreground;
}

std::string until_text(const Options &options) {
  const std::string until = ctrl_c_reaches() ? "until Ctrl-C" : "";
  if (options.duration) {
    const std::string time = formatted("for %.9g s", *options.duration);
    return until.empty() ? time : time + " or " + until;
  }
  return until.empty() ? "until \"kill " + std::to_string(getpid()) + '"' : until;
}

void print_start(const Options &options, const Recorder &recorder) {
  const Picture &picture = recorder.screen().picture();
  std::fprintf(stderr, "recording %dx%d in %s into %s, %s\n", picture.width(), picture.height(),
               pixel_format_string(recorder.screen().recorded_format()),
               quoted_name(options.output).c_str(), until_text(options).c_str());
}

void print_saved(const std::string &path) {
  std::fputs("what was recorded before is kept:\n", stderr);
  try {
    print_summary(path);
  } catch (const RecordError &error) {
    qomtool::complain(error.what());
  }
}

void print_pace(const Pace &pace) {
  std::fprintf(
      stderr,
      "this machine is too slow: %.1f of %.1f pictures a second were kept while the screen "
      "changed, %ju were missed\n",
      pace.rate_kept(), pace.rate_asked(), static_cast<uintmax_t>(pace.missed()));
}

// False, with the reason told, when the recording had to be given up.
bool record_to_the_end(const Options &options) {
  try {
    Recorder recorder(options);
    if (!options.quiet) print_start(options, recorder);
    const Ending ending = recorder.run([&] {
      if (!options.quiet) print_pace(recorder.pace());
    });
    if (!options.quiet) {
      std::fprintf(stderr, "%s\n", ending_text(ending));
      if (recorder.pace().fell_behind()) print_pace(recorder.pace());
      print_summary(options.output);
    }
    return true;
  } catch (const std::exception &error) {
    qomtool::complain(error.what());
  }
  return false;
}

int record(const Options &options) {
  const bool existed = std::filesystem::exists(std::filesystem::symlink_status(options.output));
  if (record_to_the_end(options)) return qomtool::kGood;
  if (!existed && std::filesystem::exists(options.output)) print_saved(options.output);
  return qomtool::kFailed;
}

void add_text_options(Subcommand &command, Texts &texts) {
  const auto add = [&](const char *name, std::optional<std::string> &text, const char *help) {
    command.option(name, "TEXT", help, [&text](const std::string &given) {
      text = given;
      return std::string();
    });
  };
  command.headline("Texts");
  add("--user", texts.user, "login name of the person recorded (default: yours)");
  add("--tfn", texts.tfn, "full name of that person (default: from the user database)");
  add("--host", texts.host, "name of the machine (default: this one's)");
  add("--ip", texts.ip, "address of the machine (default: this one's)");
  add("--sid", texts.sid, "identifier of the session (default: the login session's)");
  add("--tid", texts.tid, "identifier of the recorder (default: its process)");
  add("--app", texts.app, "application, the same all the time (default: follow the active window)");
  add("--appfmt", texts.appfmt,
      "how to name the active window's application: %c is its class, %t its title, %% a percent "
      "sign (default: \"%c: %t\")");
}

std::string known_formats() {
  std::string names;
  for (const std::string &name : recording_format_names()) {
    names += (names.empty() ? "" : ", ") + name;
  }
  return names;
}

std::string parse_format(const std::string &name, Options &options) {
  options.pixel_format = recording_format(name);
  return options.pixel_format ? "" : qomtool::quoted(name) + " is none of " + known_formats();
}

// The window's identifier as programs like xwininfo print it, decimal or with 0x before it.
std::string parse_window(const std::string &text, Options &options) {
  char *end = nullptr;
  const unsigned long long id = std::strtoull(text.c_str(), &end, 0);
  const bool number = !text.empty() && text[0] != '-' && *end == '\0';
  if (!number || id == 0 || id > UINT32_MAX)
    return qomtool::quoted(text) + " is not a window's identifier";
  options.window = static_cast<uint32_t>(id);
  return "";
}

// Keeps a number between two others, which are called `wanted`.
template <typename Kept>
Check number_within(double least, double most, const std::string &wanted, Kept *kept) {
  return [=](const std::string &text) {
    const std::optional<double> number = qomtool::decimal(text);
    if (!number || *number < least || *number > most)
      return qomtool::quoted(text) + " is not " + wanted;
    *kept = *number;
    return std::string();
  };
}

// "lossy" or "lossy=QUALITY".
std::string parse_film(const std::string &text, FilmLimits &film) {
  constexpr std::string_view name = "lossy";
  const std::string_view given = text;
  if (!given.starts_with(name) || (given.size() > name.size() && given[name.size()] != '='))
    return qomtool::quoted(text) + " is not lossy or lossy=QUALITY";
  if (!qom_can_compress_lossy()) return "this program was built without lossy pixels";
  film.quality = default_film_quality;
  if (given.size() == name.size()) return "";
  const std::string number = text.substr(name.size() + 1);
  const std::optional<double> quality = qomtool::decimal(number);
  const bool whole = quality && *quality == std::floor(*quality);
  if (!whole || *quality < 1 || *quality > 100)
    return qomtool::quoted(number) + " is not a quality from 1 to 100";
  film.quality = static_cast<int>(*quality);
  return "";
}

}  // namespace

void add_record_command(CLI::App &app, int &status) {
  const auto options = std::make_shared<Options>();
  Subcommand command(app, "record", "Records an X display");
  command.recording("OUT", &options->output, "the recording, which must not exist yet");
  command.option("--display", ":N", &options->display, "X display (default: $DISPLAY)");
  command.option("--fps", "RATE", "at most so many pictures a second; 10 when not given",
                 number_within(0.1, 60, "a rate from 0.1 to 60 pictures a second",
                               &options->frames_per_second));
  command.option("--duration", "S", "stop after so many seconds",
                 number_within(0.001, 1e9, "a number of seconds above 0", &options->duration));
  command.option("--window", "ID", "record this window only; the number is what xwininfo prints",
                 [options](const std::string &text) { return parse_window(text, *options); });
  command.option("--pixel-format", "NAME",
                 "format of the recorded pixels, one of " + known_formats() +
                     "; channels lose their lowest bits (default: the display's)",
                 [options](const std::string &name) { return parse_format(name, *options); });
  command.option(
      "--film-rate", "N",
      "store areas that keep changing like film at most so many times a second, and "
      "exactly again once they rest",
      number_within(0.1, 99, "a rate from 0.1 to 99 pictures a second", &options->film.rate));
  command.option("--film", "lossy[=QUALITY]",
                 "store such areas with losses while they change; the quality is 1 to 100, " +
                     std::to_string(default_film_quality) + " when not given",
                 [options](const std::string &text) { return parse_film(text, options->film); });
  command.flag("-q,--quiet", &options->quiet, "print nothing but errors");
  add_text_options(command, options->texts);
  command.footer(
      "The recording ends with Ctrl-C (or the signals INT, TERM and HUP), when its time is up, "
      "when the X server ends or when the recorded window is closed; it is finished properly each "
      "time.");
  command.does(status, [options] {
    options->film.looks = options->frames_per_second;
    return record(*options);
  });
}
