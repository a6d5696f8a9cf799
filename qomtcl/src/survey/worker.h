/*
 * survey/worker.h - a thread that looks at a recording while the view does something else.
 */
#ifndef QOMTCL_SURVEY_WORKER_H
#define QOMTCL_SURVEY_WORKER_H

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "survey/source.h"

struct QomView;

/* One piece of work. */
class Task {
 public:
  Task() = default;
  virtual ~Task() = default;
  Task(const Task &) = delete;
  Task &operator=(const Task &) = delete;

  /* In the worker's thread: does the work and keeps what comes of it. Ends soon when the source is
     cancelled. */
  virtual void run(Source &source) = 0;
  /* In the view's thread, once: hands over what came of it; `done` is false when the work was
     dropped in favour of other work. A script that this runs may end the view. */
  virtual void deliver(QomView *view, bool done) = 0;
};

/* Does tasks one after the other. All functions are for one thread, the view's. */
class Worker {
 public:
  explicit Worker(std::string path) : source_(std::move(path)) {}
  ~Worker();
  Worker(const Worker &) = delete;
  Worker &operator=(const Worker &) = delete;

  /* Queues a task; with `only` those before it are dropped. False when there is no thread to be
     had. */
  bool add(std::unique_ptr<Task> task, bool only);
  /* A task that is done or was dropped, whose turn it is to be delivered; null when there is none.
   */
  std::unique_ptr<Task> take(bool *done);
  /* True while some task is not yet taken. */
  bool is_busy();
  /* Waits until nothing is left to do. */
  void wait();
  /* The file is opened anew by the next task. */
  void reopen();

 private:
  struct Ended {
    std::unique_ptr<Task> task;
    bool done;
  };

  void work();
  bool start();

  Source source_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::unique_ptr<Task>> waiting_;
  std::deque<Ended> ended_;
  bool running_ = false;
  bool dropped_ = false; /* the running task is no longer wanted */
  bool stale_ = false;   /* the file may have grown */
  bool stopping_ = false;
  std::thread thread_;
};

#endif /* QOMTCL_SURVEY_WORKER_H */
