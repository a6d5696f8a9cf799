/*
 * survey/source.h - a recording as one thread reads it for itself.
 */
#ifndef QOMTCL_SURVEY_SOURCE_H
#define QOMTCL_SURVEY_SOURCE_H

#include <qom/qom.h>
#include <qom/screen.h>

#include <atomic>
#include <string>

/* A reader and a screen of a file's own, opened when they are first asked for. */
class Source {
 public:
  explicit Source(std::string path) : path_(std::move(path)) {}
  ~Source();
  Source(const Source &) = delete;
  Source &operator=(const Source &) = delete;

  /* Null with the reason in qom_reader_error() when the file does not open any more. */
  QomReader *reader();
  /* The same; its moves pause as soon as the work is cancelled. */
  QomScreen *screen();

  /* Closes both, so that the next use finds what the file has grown by. */
  void close();

  /* May be called by any thread. */
  void cancel(bool on) { cancelled_ = on; }
  bool is_cancelled() const { return cancelled_; }

 private:
  std::string path_;
  std::atomic<bool> cancelled_ = false;
  QomReader *reader_ = nullptr;
  QomScreen *screen_ = nullptr;
};

#endif /* QOMTCL_SURVEY_SOURCE_H */
