#include "subcommand.h"

#include <CLI/CLI.hpp>

#include "arguments.h"
#include "commands.h"

namespace qomtool {

Subcommand::Subcommand(CLI::App &app, const std::string &name, const std::string &help)
    : app_(app.add_subcommand(name, help)) {}

void Subcommand::recording(const std::string &name, std::string *value, const std::string &help) {
  file(name, value, help, check_recording_name);
}

void Subcommand::file(const std::string &name, std::string *value, const std::string &help,
                      const Check &check) {
  CLI::Option *option = app_->add_option(name, *value, help)->type_name("")->required();
  if (check) option->check(check);
}

void Subcommand::option(const std::string &name, const std::string &kind, std::string *value,
                        const std::string &help, const Check &check) {
  CLI::Option *option = app_->add_option(name, *value, help)->type_name(kind);
  if (check) option->check(check);
}

void Subcommand::options(const std::string &name, const std::string &kind,
                         std::vector<std::string> *values, const std::string &help,
                         const Check &check) {
  app_->add_option(name, *values, help)->check(check)->allow_extra_args(false)->type_name(kind);
}

void Subcommand::option(const std::string &name, const std::string &kind, const std::string &help,
                        const Check &keep) {
  app_->add_option_function<std::string>(
          name,
          [name, keep](const std::string &text) {
            const std::string problem = keep(text);
            if (!problem.empty()) throw CLI::ValidationError(name, problem);
          },
          help)
      ->type_name(kind);
}

void Subcommand::headline(const std::string &text) {
  app_->option_defaults()->group(text);
}

void Subcommand::flag(const std::string &name, bool *value, const std::string &help) {
  app_->add_flag(name, *value, help);
}

void Subcommand::exclude(const std::string &option, std::initializer_list<const char *> others) {
  for (const char *other : others) app_->get_option(option)->excludes(app_->get_option(other));
}

void Subcommand::footer(const std::string &text) {
  app_->footer(text);
}

void Subcommand::does(int &status, const std::function<int()> &work) {
  app_->callback([&status, work] {
    try {
      status = work();
    } catch (const UsageError &error) {
      throw CLI::ValidationError(error.what(), kUsage);
    }
  });
}

}  // namespace qomtool
