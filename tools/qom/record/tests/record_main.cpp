// The subcommand alone, as a program that the tests start.
#include <CLI/CLI.hpp>

#include "record_command.h"

int main(int argc, char **argv) {
  CLI::App app("qom");
  int status = 0;
  add_record_command(app, status);
  app.require_subcommand(1);
  CLI11_PARSE(app, argc, argv);
  return status;
}
