#include "survey/worker.h"

#include <csignal>
#include <system_error>
#include <utility>

namespace {

/* Signals are for the threads of the program that loaded the package. A thread begins with the mask
   of the one that starts it. */
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    (void)pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsBlocked() { (void)pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked &) = delete;
  SignalsBlocked &operator=(const SignalsBlocked &) = delete;

 private:
  sigset_t before_ = {};
};

}  // namespace

Worker::~Worker() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    source_.cancel(true);
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
}

bool Worker::start() {
  if (thread_.joinable()) return true;
  const SignalsBlocked blocked;
  try {
    thread_ = std::thread(&Worker::work, this);
  } catch (const std::system_error &) {
    return false;
  }
  return true;
}

bool Worker::add(std::unique_ptr<Task> task, bool only) {
  if (!start()) return false;
  {
    const std::lock_guard lock(mutex_);
    if (only) {
      for (auto &older : waiting_) ended_.push_back({std::move(older), false});
      waiting_.clear();
      dropped_ = running_;
      source_.cancel(running_);
    }
    waiting_.push_back(std::move(task));
  }
  changed_.notify_all();
  return true;
}

std::unique_ptr<Task> Worker::take(bool *done) {
  const std::lock_guard lock(mutex_);
  if (ended_.empty()) return nullptr;
  std::unique_ptr<Task> task = std::move(ended_.front().task);
  *done = ended_.front().done;
  ended_.pop_front();
  return task;
}

bool Worker::is_busy() {
  const std::lock_guard lock(mutex_);
  return running_ || !waiting_.empty() || !ended_.empty();
}

void Worker::wait() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return !running_ && waiting_.empty(); });
}

void Worker::reopen() {
  const std::lock_guard lock(mutex_);
  stale_ = true;
}

void Worker::work() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [&] { return stopping_ || !waiting_.empty(); });
    if (stopping_) return;
    std::unique_ptr<Task> task = std::move(waiting_.front());
    waiting_.pop_front();
    running_ = true;
    dropped_ = false;
    source_.cancel(false);
    const bool stale = std::exchange(stale_, false);
    lock.unlock();
    if (stale) source_.close();
    task->run(source_);
    lock.lock();
    running_ = false;
    ended_.push_back({std::move(task), !dropped_});
    changed_.notify_all();
  }
}
