// The records of a stretch, written into a new recording.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "covered_cursor.h"
#include "masks.h"
#include "progress.h"
#include "qom/writer.h"
#include "raw_screen.h"
#include "recording.h"
#include "stretch.h"

namespace qomtool {

// The new recording could not be written; qom_reader_error() at that time.
struct WriteError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Writes what a stretch begins with and then its records, checkpoints and marks. What cannot be
// read is left out: it is told on standard error, counted, and marked in the new recording up to
// where a checkpoint restates everything. Its functions throw WriteError, CutError and
// std::bad_alloc.
class Copying {
 public:
  // All arguments live longer. `on_progress` is told the bytes of the recording that are dealt
  // with.
  Copying(const std::string &file, const Recording &recording, const CutStretch &stretch,
          const Masks &masks, QomWriter *writer, std::function<void(uint64_t bytes)> on_progress,
          Progress &progress);

  // The state at the begin of the stretch. Not `trusted`: the recording is damaged before it, which
  // is told and marked as well.
  void begin_with(std::vector<RecordPtr> state, bool is_checkpoint, bool trusted);
  // The records behind it; where the last one is earlier than the end, one that changes nothing.
  void copy();

  uint64_t written() const { return written_; }
  uint64_t checkpoints() const { return checkpoints_; }
  uint64_t lost() const { return lost_; }
  bool is_untrusted() const { return untrusted_; }  // what it begins with

 private:
  void append(RecordPtr record, size_t index);
  void last_to_the_end();
  RecordPtr without_copies(RecordPtr record, size_t index);
  void begin_checkpoint(size_t index);
  void end_checkpoint();
  void pass_gaps(size_t index);
  void pass_damage(size_t index);
  void write_marks();
  void lose(size_t index, uint64_t time, const std::string &place, const std::string &why);
  void mark(size_t index, uint64_t time);
  void say(const std::string &what);

  const std::string &file_;
  const Recording &recording_;
  const CutStretch &stretch_;
  const Masks &masks_;
  QomWriter *writer_;
  std::function<void(uint64_t)> on_progress_;
  Progress &progress_;

  CoveredCursor cursor_;
  std::unique_ptr<RawScreen> drawn_;  // once copies under masks have been met
  std::vector<CheckpointRun> runs_;
  size_t next_run_ = 0;
  bool open_ = false;    // a checkpoint is being written
  size_t open_end_ = 0;  // the record behind it
  std::vector<QomGap> gaps_;
  size_t next_gap_ = 0;
  std::vector<DamagedPlace> damage_;
  size_t next_damage_ = 0;
  std::vector<QomGap> marks_;  // that wait for the end of a checkpoint
  uint64_t marked_until_ = 0;

  uint64_t written_ = 0;
  uint64_t last_time_;  // of what is written, or the begin
  uint64_t checkpoints_ = 0;
  uint64_t lost_ = 0;
  bool untrusted_ = false;
};

}  // namespace qomtool
