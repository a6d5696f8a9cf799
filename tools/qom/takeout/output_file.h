// A new file that appears under its name only when it is whole.
#pragma once

#include <sys/types.h>

#include <stdexcept>
#include <string>

namespace qomtool {

// What is wrong with a file that was to be written, for the person at the terminal.
struct OutputError : std::runtime_error {
  OutputError(const std::string &name, const std::string &what);
};

// The file is written in a folder of its own, hidden beside its place, which only this user can
// enter. It disappears with the folder when the file is not kept, also when a signal (INT, TERM,
// HUP, QUIT, PIPE or XCPU) ends the program. One at a time.
class OutputFile {
 public:
  enum class Existing { refused, replaced };

  // The file `name`, made out of the recording `source`: nobody may read it who may not read that.
  // Throws OutputError when something else than a file to be replaced has the name: another file,
  // or the recording itself; and where no file can be made.
  OutputFile(const std::string &name, const std::string &source, Existing existing);
  ~OutputFile();
  OutputFile(const OutputFile &) = delete;
  OutputFile &operator=(const OutputFile &) = delete;

  // Where to write it: a path that does not exist yet, with the same ending as its name. It alone
  // may be in its folder.
  const std::string &path() const { return path_; }

  // Forks, as fork() does, a process that writes the file: a signal that ends the program ends that
  // one first. In it, those signals are blocked.
  pid_t fork_writer();
  // It has ended, and is about to be waited for.
  void forget_writer();

  // Gives what was written at the path its mode (0600 and no more than it had) and its name, when
  // it is on the disk. Throws OutputError, and then it is not kept.
  void keep();

  // The check of the constructor alone, for those that write many files.
  static void check(const std::string &name, const std::string &source, Existing existing);

 private:
  std::string name_;
  Existing existing_;
  std::string folder_;
  std::string path_;
};

}  // namespace qomtool
