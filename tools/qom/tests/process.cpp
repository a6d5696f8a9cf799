#include "process.h"

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <thread>

using namespace std::chrono_literals;

bool eventually(const std::function<bool()> &condition) {
  const auto end = std::chrono::steady_clock::now() + 20s;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(5ms);
  }
  return true;
}

Process::Process(const std::vector<std::string> &command, const std::function<void()> &prepare) {
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("no pipe");
  id_ = fork();
  if (id_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(ends[1], STDOUT_FILENO);
    dup2(ends[1], STDERR_FILENO);
    close(ends[0]);
    close(ends[1]);
    prepare();
    std::vector<char *> words;
    for (const std::string &word : command) words.push_back(const_cast<char *>(word.c_str()));
    words.push_back(nullptr);
    execvp(words[0], words.data());
    _exit(127);
  }
  close(ends[1]);
  pipe_ = ends[0];
}

Process::~Process() {
  if (!ended_) {
    signal(SIGKILL);
    wait();
  }
  close(pipe_);
}

void Process::signal(int number) const {
  kill(id_, number);
}

bool Process::has_ended() const {
  siginfo_t ended{};
  waitid(P_PID, static_cast<id_t>(id_), &ended, WEXITED | WNOHANG | WNOWAIT);
  return ended.si_pid != 0;
}

bool Process::read_some() {
  pollfd source{pipe_, POLLIN, 0};
  if (poll(&source, 1, 20000) != 1) return false;
  char buffer[4096];
  const ssize_t count = read(pipe_, buffer, sizeof buffer);
  if (count > 0) output_.append(buffer, static_cast<size_t>(count));
  return count > 0;
}

bool Process::prints(const std::string &text) {
  while (output_.find(text) == std::string::npos) {
    if (!read_some()) return false;
  }
  return true;
}

int Process::wait() {
  while (read_some()) {
  }
  int status = 0;
  rusage usage{};
  wait4(id_, &status, 0, &usage);
  ended_ = true;
  memory_ = static_cast<size_t>(usage.ru_maxrss) * 1024;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
