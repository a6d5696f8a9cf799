#include "end_watch.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>

#include "clock.h"
#include "error.h"

namespace qom::record {
namespace {

constexpr int patience = 2000;  // milliseconds for the server to answer after the end

int need(int descriptor) {
  if (descriptor < 0) throw RecordError("the system gives no descriptor for signals and times");
  return descriptor;
}

bool is_ignored(int number) {
  struct sigaction action {};
  return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

int open_signals() {
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
  sigset_t set;
  sigemptyset(&set);
  for (const int number : {SIGINT, SIGTERM}) sigaddset(&set, number);
  if (!is_ignored(SIGHUP)) sigaddset(&set, SIGHUP);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  return signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

}  // namespace

EndWatch::EndWatch()
    : signals_(need(open_signals())),
      timer_(need(timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC | TFD_NONBLOCK))),
      released_(need(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))) {}

EndWatch::~EndWatch() {
  if (thread_.joinable()) {
    eventfd_write(released_, 1);
    thread_.join();
  }
  for (const int descriptor : {signals_, timer_, released_, connection_}) {
    if (descriptor >= 0) close(descriptor);
  }
}

void EndWatch::end_at(int64_t time) {
  const itimerspec when{{}, {time / second, time % second * 1000}};
  timerfd_settime(timer_, TFD_TIMER_ABSTIME, &when, nullptr);
}

void EndWatch::guard(int connection) {
  connection_ = need(fcntl(connection, F_DUPFD_CLOEXEC, 0));
  thread_ = std::thread([this] { watch(connection_); });
}

void EndWatch::watch(int connection) const {
  std::array<pollfd, 3> sources{
      {{signals_, POLLIN, 0}, {timer_, POLLIN, 0}, {released_, POLLIN, 0}}};
  while (poll(sources.data(), sources.size(), -1) < 0 && errno == EINTR) {
  }
  pollfd release{released_, POLLIN, 0};
  if (poll(&release, 1, patience) == 0) shutdown(connection, SHUT_RDWR);
}

void EndWatch::sleep(int64_t until, int descriptor) const {
  const int64_t left = std::max<int64_t>(0, until - steady_time());
  const timespec timeout{left / second, left % second * 1000};
  std::array<pollfd, 3> sources{
      {{signals_, POLLIN, 0}, {timer_, POLLIN, 0}, {descriptor, POLLIN, 0}}};
  ppoll(sources.data(), sources.size(), &timeout, nullptr);
}

std::optional<Ending> EndWatch::ended() const {
  std::array<pollfd, 2> sources{{{signals_, POLLIN, 0}, {timer_, POLLIN, 0}}};
  if (poll(sources.data(), sources.size(), 0) <= 0) return std::nullopt;
  return sources[0].revents ? Ending::signal : Ending::duration;
}

}  // namespace qom::record
