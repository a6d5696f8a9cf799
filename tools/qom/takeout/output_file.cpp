#include "output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "descriptor.h"
#include "file_mode.h"
#include "text/quote.h"

namespace qomtool {
namespace {

constexpr int kEndings[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGXCPU};

// What a signal that ends the program has to remove, where it can be reached at any moment.
struct Unfinished {
  volatile std::sig_atomic_t exists;
  volatile pid_t writer;  // 0 for none
  char file[PATH_MAX];
  char folder[PATH_MAX];
};
Unfinished unfinished;

void remove_unfinished(int) {
  if (!unfinished.exists) return;
  unlink(unfinished.file);
  rmdir(unfinished.folder);
}

void remove_and_end(int number) {
  if (unfinished.writer > 0) {
    kill(-unfinished.writer, SIGKILL);  // with what it has started, where it leads a group
    kill(unfinished.writer, SIGKILL);
    waitpid(unfinished.writer, nullptr, 0);
  }
  remove_unfinished(number);
  raise(number);  // which has its usual effect again when this returns
}

// Signals that are ignored stay so, as nohup(1) wants it.
void remove_at_endings() {
  struct sigaction action {};
  action.sa_handler = remove_and_end;
  action.sa_flags = SA_RESETHAND;
  for (const int number : kEndings) {
    struct sigaction before {};
    sigaction(number, nullptr, &before);
    if (before.sa_handler == SIG_DFL) sigaction(number, &action, nullptr);
  }
}

// No signal ends the program while this lives.
class Undisturbed {
 public:
  Undisturbed() {
    sigset_t endings;
    sigemptyset(&endings);
    for (const int number : kEndings) sigaddset(&endings, number);
    pthread_sigmask(SIG_BLOCK, &endings, &before_);
  }
  ~Undisturbed() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  Undisturbed(const Undisturbed &) = delete;
  Undisturbed &operator=(const Undisturbed &) = delete;

 private:
  sigset_t before_;
};

[[noreturn]] void fail(const std::string &name) {
  throw OutputError(name, std::strerror(errno));
}

[[noreturn]] void refuse_existing(const std::string &name) {
  throw OutputError(name, "it exists already (--force replaces it)");
}

int open_path(const std::string &path, int flags) {
  return open(path.c_str(), flags | O_CLOEXEC);
}

// Renames where nothing has the new name.
void rename_to_new(const std::string &from, const std::string &to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return;
  if (errno == EEXIST) refuse_existing(to);
  if (errno != EINVAL && errno != ENOSYS) fail(to);
  // A file system that cannot do this in one step.
  struct stat status;
  if (lstat(to.c_str(), &status) == 0) refuse_existing(to);
  if (rename(from.c_str(), to.c_str()) != 0) fail(to);
}

std::string folder_of(const std::string &name) {
  const size_t slash = name.rfind('/');
  return slash == std::string::npos ? "." : name.substr(0, slash + 1);
}

std::string last_part(const std::string &name) {
  return name.substr(name.rfind('/') + 1);  // npos + 1 is 0
}

}  // namespace

OutputError::OutputError(const std::string &name, const std::string &what)
    : std::runtime_error(quoted_name(name) + ": " + what) {}

void OutputFile::check(const std::string &name, const std::string &source, Existing existing) {
  if (last_part(name).empty()) throw OutputError(name, "this is no name of a file");
  struct stat link, file, recording;
  if (lstat(name.c_str(), &link) != 0) {
    if (errno != ENOENT) fail(name);
    return;
  }
  if (existing == Existing::refused) refuse_existing(name);
  if (stat(name.c_str(), &file) != 0) return;  // a link to nothing
  if (!S_ISREG(file.st_mode)) throw OutputError(name, "it is no file that could be replaced");
  if (stat(source.c_str(), &recording) == 0 && recording.st_dev == file.st_dev &&
      recording.st_ino == file.st_ino)
    throw OutputError(name, "it is the recording itself");
}

OutputFile::OutputFile(const std::string &name, const std::string &source, Existing existing)
    : name_(name), existing_(existing) {
  check(name, source, existing);
  const Undisturbed now;
  folder_ = folder_of(name) + "/.qom-XXXXXX";
  if (!mkdtemp(folder_.data())) fail(name);
  path_ = folder_ + '/' + last_part(name);
  if (path_.size() >= sizeof unfinished.file) {
    rmdir(folder_.c_str());
    throw OutputError(name, std::strerror(ENAMETOOLONG));
  }
  // The umask may have taken from the owner what a folder needs.
  chmod(folder_.c_str(), S_IRWXU);
  create_no_wider_than(source);
  unfinished.file[path_.copy(unfinished.file, sizeof unfinished.file - 1)] = '\0';
  unfinished.folder[folder_.copy(unfinished.folder, sizeof unfinished.folder - 1)] = '\0';
  unfinished.exists = 1;
  remove_at_endings();
}

OutputFile::~OutputFile() {
  const Undisturbed now;
  remove_unfinished(0);
  unfinished.exists = 0;
}

pid_t OutputFile::fork_writer() {
  const Undisturbed now;
  const pid_t process = fork();
  if (process > 0) unfinished.writer = process;
  return process;
}

void OutputFile::forget_writer() {
  unfinished.writer = 0;
}

void OutputFile::keep() {
  const Undisturbed now;
  const Descriptor file(open_path(path_, O_RDONLY | O_NOFOLLOW | O_NONBLOCK));
  struct stat status;
  if (!file || fstat(file.number(), &status) != 0) fail(name_);
  if (!S_ISREG(status.st_mode)) throw OutputError(name_, "what was written is no file");
  if (fchmod(file.number(), status.st_mode & (S_IRUSR | S_IWUSR)) != 0 || fsync(file.number()) != 0)
    fail(name_);
  if (existing_ == Existing::refused)
    rename_to_new(path_, name_);
  else if (rename(path_.c_str(), name_.c_str()) != 0)
    fail(name_);
  // The file is there; a folder that cannot be brought to the disk as well is no reason to
  // complain.
  const Descriptor folder(open_path(folder_of(name_), O_RDONLY | O_DIRECTORY));
  if (folder) fsync(folder.number());
}

}  // namespace qomtool
