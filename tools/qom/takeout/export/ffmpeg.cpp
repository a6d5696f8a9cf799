#include "ffmpeg.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

namespace qomtool {
namespace {

constexpr const char *kProgram = "ffmpeg";
constexpr int kPipeBytes = 1 << 20;
constexpr size_t kWords = 600;  // bytes of what it said last
constexpr size_t kLines = 3;

[[noreturn]] void fail_with(int error) {
  if (error == ENOENT)
    throw FfmpegMissing("the program ffmpeg is missing: install the package ffmpeg");
  throw FfmpegMissing(std::string("ffmpeg cannot be started: ") + std::strerror(error));
}

std::vector<char *> pointers(std::vector<std::string> &words) {
  std::vector<char *> all;
  all.reserve(words.size() + 1);
  for (std::string &word : words) all.push_back(word.data());
  all.push_back(nullptr);
  return all;
}

void make_pipe(Descriptor *out, Descriptor *in) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) fail_with(errno);
  out->reset(ends[0]);
  in->reset(ends[1]);
}

// What its libraries are found with, and English.
std::vector<std::string> environment() {
  std::vector<std::string> all = {"LC_ALL=C"};
  for (const char *name : {"PATH", "LD_LIBRARY_PATH"})
    if (const char *value = std::getenv(name)) all.push_back(std::string(name) + '=' + value);
  return all;
}

// What a child does until it is ffmpeg. It has `parent`; the error goes to `report`.
[[noreturn]] void become(char *const *words, char *const *variables, pid_t parent, int input,
                         int side, int errors, int report) {
  // Ctrl-C goes to this program alone, which then ends it.
  setpgid(0, 0);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
  dup2(input, STDIN_FILENO);
  dup2(side >= 0 ? side : open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
  dup2(errors, STDERR_FILENO);
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) std::signal(number, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  execvpe(kProgram, words, variables);
  const int error = errno;
  [[maybe_unused]] const ssize_t written = ::write(report, &error, sizeof error);
  _exit(1);
}

// What was wrong with the file, when that is plain from what it said.
std::string known_fault(const std::string &words) {
  for (const int error : {ENOSPC, EDQUOT, EFBIG, EROFS})
    if (words.find(std::strerror(error)) != std::string::npos) return std::strerror(error);
  return "";
}

std::string how_it_ended(int status) {
  if (WIFSIGNALED(status)) return "was ended by the signal " + std::to_string(WTERMSIG(status));
  return "ended with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

void open_in_memory(Descriptor *file) {
  file->reset(memfd_create(kProgram, MFD_CLOEXEC));
  if (!*file) fail_with(errno);
}

Ffmpeg::Ffmpeg(const std::vector<std::string> &options, OutputFile *output, int side)
    : output_(output) {
  std::signal(SIGPIPE, SIG_IGN);  // writing to an ffmpeg that has ended is an error
  open_in_memory(&words_);
  if (side >= 0) lseek(side, 0, SEEK_SET);
  std::vector<std::string> words = {kProgram,  "-nostdin", "-hide_banner", "-loglevel", "error",
                                    "-xerror", "-n"};
  // With a queue a thread of its own reads, while the pictures before are at work.
  for (const char *word :
       {"-probesize", "32", "-thread_queue_size", "4", "-f", "matroska", "-i", "pipe:0"})
    words.emplace_back(word);
  words.insert(words.end(), options.begin(), options.end());
  start(words, side);
}

void Ffmpeg::start(const std::vector<std::string> &command, int side) {
  std::vector<std::string> words = command, variables = environment();
  const std::vector<char *> arguments = pointers(words), named = pointers(variables);
  Descriptor input, report, reported;
  make_pipe(&input, &pipe_);
  make_pipe(&reported, &report);
  fcntl(pipe_.number(), F_SETPIPE_SZ, kPipeBytes);  // a smaller one does as well
  const pid_t parent = getpid();
  int error = 0;
  process_ = output_->fork_writer();
  if (process_ < 0) error = errno;
  if (process_ == 0)
    become(arguments.data(), named.data(), parent, input.number(), side, words_.number(),
           report.number());
  report.reset();
  if (error == 0 && read(reported.number(), &error, sizeof error) <= 0)
    return;  // it has become ffmpeg
  if (process_ > 0) wait();
  fail_with(error);
}

Ffmpeg::~Ffmpeg() {
  pipe_.reset();
  if (process_ > 0) {
    kill(-process_, SIGKILL);  // with what it has started, when it came to lead a group
    kill(process_, SIGKILL);
    wait();
  }
}

// Waits for its end: the status as of waitpid().
int Ffmpeg::wait() {
  // Until it is waited for, nothing else gets its number, which a signal may want to end.
  siginfo_t ended;
  while (waitid(P_PID, static_cast<id_t>(process_), &ended, WEXITED | WNOWAIT) != 0 &&
         errno == EINTR) {
  }
  output_->forget_writer();
  int status = 0;
  waitpid(process_, &status, 0);
  process_ = -1;
  return status;
}

void Ffmpeg::write(std::span<const uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(pipe_.number(), bytes.data(), bytes.size());
    if (count > 0)
      bytes = bytes.subspan(static_cast<size_t>(count));
    else if (errno != EINTR)
      fail();
  }
}

void Ffmpeg::finish() {
  pipe_.reset();
  const int status = wait();
  // Of what fails when it closes the file it may only speak.
  if (status != 0 || !known_fault(last_words()).empty()) fail_after(status);
}

// It does not read any more.
void Ffmpeg::fail() {
  pipe_.reset();
  fail_after(wait());
}

void Ffmpeg::fail_after(int status) const {
  const std::string words = last_words();
  const std::string fault = known_fault(words);
  if (!fault.empty()) throw FfmpegError(fault);
  throw FfmpegError("ffmpeg " + how_it_ended(status) + (words.empty() ? "" : ": " + words));
}

// Its last lines, as one.
std::string Ffmpeg::last_words() const {
  const off_t end = lseek(words_.number(), 0, SEEK_END);
  std::string text(kWords, '\0');
  const ssize_t count = pread(words_.number(), text.data(), text.size(),
                              std::max<off_t>(0, end - static_cast<off_t>(kWords)));
  text.resize(static_cast<size_t>(std::max<ssize_t>(0, count)));
  while (text.ends_with('\n')) text.pop_back();
  size_t begin = text.size();
  for (size_t i = 0; i < kLines && begin != std::string::npos && begin > 0; ++i)
    begin = text.rfind('\n', begin - 1);
  if (begin != std::string::npos) text.erase(0, begin + 1);
  for (size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at))
    text.replace(at, 1, " / ");
  return text;
}

}  // namespace qomtool
