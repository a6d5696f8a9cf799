// A subcommand on the command line: its arguments, its options, and what it does.
#pragma once

#include <functional>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace qomtool {

// What a subcommand was asked for does not go together; it has done nothing yet.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Gets the text of an argument. Returns an empty text when it is good, otherwise what is wrong.
using Check = std::function<std::string(const std::string &text)>;

// The values lie in what the function that is given to `does` holds, and so live long enough.
class Subcommand {
 public:
  Subcommand(CLI::App &app, const std::string &name, const std::string &help);

  // Arguments that have to be there, in the order of the calls; a recording may not be "-".
  void recording(const std::string &name, std::string *value, const std::string &help);
  void file(const std::string &name, std::string *value, const std::string &help,
            const Check &check = {});

  // Options with a value, of which the help says that it is a `kind`.
  void option(const std::string &name, const std::string &kind, std::string *value,
              const std::string &help, const Check &check = {});
  // May be given again.
  void options(const std::string &name, const std::string &kind, std::vector<std::string> *values,
               const std::string &help, const Check &check);
  // The check keeps what it finds.
  void option(const std::string &name, const std::string &kind, const std::string &help,
              const Check &keep);
  // Options from here on stand under this headline in the help.
  void headline(const std::string &text);

  void flag(const std::string &name, bool *value, const std::string &help);
  void exclude(const std::string &option, std::initializer_list<const char *> others);

  // What stands below the options in the help.
  void footer(const std::string &text);
  // Does the work, while the command line is parsed, and returns the exit status, which goes to
  // `status`. May throw UsageError.
  void does(int &status, const std::function<int()> &work);

 private:
  CLI::App *app_;
};

}  // namespace qomtool
