// qom: what is done with recordings of desktop sessions, each a subcommand.
#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>

#include "commands.h"
#include "help_formatter.h"
#include "qom/qom.h"
#include "recording.h"
#include "text/quote.h"

namespace {

using namespace qomtool;

std::string version_text() {
  return "qom " + std::to_string(QOM_VERSION_MAJOR) + '.' + std::to_string(QOM_VERSION_MINOR) +
         '.' + std::to_string(QOM_VERSION_PATCH);
}

// What nothing was expected to take is told before anything that is missing. `first` is the first
// argument, null when there is none.
std::string what_is_wrong(const CLI::App &app, const CLI::ParseError &error, const char *first) {
  if (app.get_subcommands().empty() && first && first[0] != '-')
    return "there is no subcommand " + qomtool::quoted(first);
  const std::vector<std::string> unexpected = app.remaining(true);
  std::string said = error.what();
  if (unexpected.empty() && said.ends_with(" missing"))  // also behind a "="
    return said.substr(0, said.find(':')) + ": its value is missing";
  if (unexpected.empty()) return said;
  const std::string &argument = unexpected.front();
  return (argument[0] == '-' ? "there is no option " : "too many arguments: ") +
         qomtool::quoted(argument);
}

// The line of usage of the subcommand that was being parsed, or of the program.
std::string usage(const CLI::App &app) {
  const auto chosen = app.get_subcommands();
  const std::string help = chosen.empty() ? app.help() : chosen.front()->help(app.get_name());
  const size_t begin = help.find("Usage: ");
  const size_t end = help.find('\n', begin);
  const std::string name = chosen.empty() ? "qom" : "qom " + chosen.front()->get_name();
  return help.substr(begin, end - begin) + '\n' + name + " --help tells more\n";
}

int refuse(const CLI::App &app, const CLI::ParseError &error, const char *first) {
  if (error.get_exit_code() == 0) return app.exit(error);  // --help and --version
  std::fprintf(stderr, "qom: %s\n%s", printable(what_is_wrong(app, error, first)).c_str(),
               first ? usage(app).c_str() : app.help().c_str());
  return kUsage;
}

int run(int argc, char **argv) {
  CLI::App app(
      "Records, inspects, checks, repairs, makes, takes pictures and makes films of recordings of "
      "desktop sessions",
      "qom");
  app.formatter(std::make_shared<HelpFormatter>());
  app.set_version_flag("--version", version_text());
  app.require_subcommand(1);
  app.footer(
      "qom SUBCOMMAND --help tells the options of a subcommand. Exit status: 0 good, 1 damage was\n"
      "found or the work failed, 2 wrong usage, 3 not a recording or not readable.");
  int status = kGood;
  add_info_command(app, status);
  add_dump_command(app, status);
  add_verify_command(app, status);
  add_repair_command(app, status);
  add_cut_command(app, status);
  add_make_command(app, status);
  add_record_command(app, status);
  add_picture_command(app, status);
  add_export_command(app, status);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    status = refuse(app, error, argc > 1 ? argv[1] : nullptr);
  }
  // What was printed may still wait in the buffer, and a full disk shows only when it leaves it.
  if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
    complain(std::string("standard output: ") + std::strerror(errno));
    return status == kGood ? kFailed : status;
  }
  return status;
}

}  // namespace

int main(int argc, char **argv) {
  // A file that outgrows its limit is an error of the write, told like a full disk.
  std::signal(SIGXFSZ, SIG_IGN);
  try {
    return run(argc, argv);
  } catch (const std::bad_alloc &) {
    std::fputs("qom: memory is short\n", stderr);
  } catch (const std::exception &error) {
    complain(error.what());
  }
  return kFailed;
}
