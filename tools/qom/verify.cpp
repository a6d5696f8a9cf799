#include <algorithm>
#include <cstdio>
#include <memory>

#include "arguments.h"
#include "commands.h"
#include "counted.h"
#include "findings.h"
#include "progress.h"
#include "recording.h"
#include "subcommand.h"
#include "text/quote.h"

namespace {

using namespace qomtool;

struct Options {
  std::string file;
  size_t limit = 50;
};

// Walks over the file with qom_reader_scan() and holds what it meets against the index.
class Verification {
 public:
  Verification(const Recording &recording, size_t limit)
      : recording_(recording),
        progress_("verifying", recording.info.file_size, Progress::Unit::bytes),
        findings_(recording.header->timestamp, limit, progress_) {}

  // False when the file could not be read to its end.
  bool run();
  // Prints what is no problem but worth telling, and the verdict.
  void conclude(const std::string &name);
  bool good() const { return findings_.count() == 0; }

 private:
  static int visit_event(void *self, const QomScanEvent *event) {
    return static_cast<Verification *>(self)->visit(*event);
  }
  int visit(const QomScanEvent &event);
  void visit_record(const QomScanEvent &event);
  void visit_damage(const QomScanEvent &event);
  void visit_checkpoint(const QomScanEvent &event);
  void compare_entry(const QomScanEvent &event);
  void pass_entries_before(int64_t position);
  bool indexed(const QomScanEvent &event) const;
  void compare_state();

  const Recording &recording_;
  Progress progress_;
  Findings findings_;
  size_t next_entry_ = 0;
  int64_t damage_end_ = 0;  // where the last damage ended
  bool end_mark_ = false;
  uint64_t records_ = 0;
  uint64_t checkpoints_ = 0;
  uint64_t unknown_ = 0;
  uint64_t gaps_ = 0;
  uint64_t film_areas_ = 0;
  uint64_t torn_bytes_ = 0;
  uint64_t lost_entries_ = 0;  // entries of records that lay in damaged bytes
};

bool Verification::run() {
  const int stopped = qom_reader_scan(recording_.reader.get(), visit_event, this);
  progress_.clear();
  if (stopped != 0) return false;
  pass_entries_before(INT64_MAX);
  compare_state();
  findings_.finish();
  return true;
}

int Verification::visit(const QomScanEvent &event) {
  switch (event.kind) {
    case QOM_SCAN_RECORD:
      visit_record(event);
      break;
    case QOM_SCAN_DAMAGE:
      visit_damage(event);
      break;
    case QOM_SCAN_CHECKPOINT:
      visit_checkpoint(event);
      break;
    case QOM_SCAN_UNKNOWN:
      ++unknown_;
      break;
    case QOM_SCAN_GAP:
      ++gaps_;
      break;
    case QOM_SCAN_FILM_AREA:
      ++film_areas_;
      break;
    case QOM_SCAN_TORN:
      torn_bytes_ += event.length;
      break;
    case QOM_SCAN_END:
      end_mark_ = end_mark_ || indexed(event);
      break;
    case QOM_SCAN_ORIGIN:
    case QOM_SCAN_INDEX:
    case QOM_SCAN_HEAD:
    case QOM_SCAN_OVERVIEW:
      break;
  }
  progress_.update(static_cast<uint64_t>(event.position) + event.length);
  return std::ferror(stdout);
}

// Whatever came after the index was built has no entry yet: the recording is still being written.
bool Verification::indexed(const QomScanEvent &event) const {
  return static_cast<uint64_t>(event.position) + event.length <= recording_.info.file_size;
}

void Verification::visit_record(const QomScanEvent &event) {
  const std::string fault = event.record ? fault_of(event.record, recording_.header) : event.reason;
  const bool sound = event.record && fault.empty();
  if (!sound) findings_.add(event.position, event.length, fault);
  if (indexed(event)) compare_entry(event);
  if (!sound) return;
  ++records_;
  findings_.pass(event.record->timestamp);
}

void Verification::visit_damage(const QomScanEvent &event) {
  pass_entries_before(event.position);
  findings_.add(event.position, event.length, event.reason);
  damage_end_ = event.position + static_cast<int64_t>(event.length);
}

// Entries that point to where no record was met: into the last damage, which has been told
// already, or to nothing.
void Verification::pass_entries_before(int64_t position) {
  for (; next_entry_ < recording_.length; ++next_entry_) {
    const QomIndexEntry &entry = recording_.index[next_entry_];
    if (entry.position >= position) return;
    if (entry.position < damage_end_) {
      ++lost_entries_;
    } else {
      findings_.add(
          entry.position, 0,
          "the index has record #" + std::to_string(next_entry_) + " here, where none begins");
    }
  }
}

void Verification::compare_entry(const QomScanEvent &event) {
  pass_entries_before(event.position);
  const QomIndexEntry *entry =
      next_entry_ < recording_.length ? &recording_.index[next_entry_] : nullptr;
  if (!entry || entry->position != event.position) {
    // A record that breaks a rule of the format need not be in the index.
    if (event.record) findings_.add(event.position, event.length, "the index lacks this record");
    return;
  }
  if (event.record &&
      (entry->type != event.record->type || entry->timestamp != event.record->timestamp)) {
    findings_.add(event.position, event.length,
                  "the index has another type or time for this record");
  }
  if (entry->flags & QOM_ENTRY_TIME_RAISED) {
    findings_.add(event.position, event.length, "the time goes back");
  }
  ++next_entry_;
}

void Verification::visit_checkpoint(const QomScanEvent &event) {
  if (event.count == 0) {
    findings_.add(event.position, event.length, "records of this checkpoint are missing");
    return;
  }
  ++checkpoints_;
  // The scan counts the records that it met, the index those that were written: they agree only
  // while nothing was lost.
  if (!good() || !indexed(event)) return;
  size_t first = 0, end = 0;
  if (!qom_checkpoint_before(recording_.reader.get(), event.first, &first, &end) ||
      first != event.first || end - first != event.count) {
    findings_.add(event.position, event.length, "the index lacks this checkpoint");
  }
}

void Verification::compare_state() {
  const QomReaderInfo &info = recording_.info;
  if (!good()) return;
  if (info.state == QOM_STATE_DAMAGED) {
    findings_.add(info.damaged_at, info.damaged_bytes,
                  "the index, the overview or the end mark is wrong");
  } else if (end_mark_ && info.state == QOM_STATE_UNFINISHED) {
    findings_.add(0, 0, "the end mark is not at the end");
  } else if (info.state == QOM_STATE_FINISHED && info.checkpoint_count != checkpoints_) {
    findings_.add(0, 0, "the index has checkpoints that no mark confirms");
  }
}

void Verification::conclude(const std::string &name) {
  if (torn_bytes_) {
    std::printf("%s of an incomplete record at the end; this is not damage\n",
                counted(torn_bytes_, "byte").c_str());
  }
  if (unknown_) {
    std::printf("%s of a type that this program does not know\n",
                counted(unknown_, "record").c_str());
  }
  if (gaps_) {
    std::printf("%s not recorded; \"qom info\" has the list\n",
                counted(gaps_, "stretch was", "stretches were").c_str());
  }
  if (film_areas_) {
    std::printf("film was held back or lossy in %s; \"qom info\" tells how much\n",
                counted(film_areas_, "stretch", "stretches").c_str());
  }
  if (lost_entries_) {
    std::printf(
        "%s in damaged bytes\n",
        counted(lost_entries_, "record of the index lies", "records of the index lie").c_str());
  }
  const char *state = recording_.info.state == QOM_STATE_FINISHED ? "finished" : "unfinished";
  if (good()) {
    std::printf("%s: good, %s, %s, %s\n", quoted_name(name).c_str(), state,
                counted(records_, "record").c_str(), counted(checkpoints_, "checkpoint").c_str());
  } else {
    std::printf("%s: damaged, %s, %s readable\n", quoted_name(name).c_str(),
                counted(findings_.count(), "problem").c_str(),
                counted(records_, "record is", "records are").c_str());
  }
}

int verify(const Options &options) {
  const Recording recording = open_recording(options.file);
  if (!recording) return kUnreadable;
  Verification verification(recording, options.limit);
  if (!verification.run()) {
    if (std::ferror(stdout)) return kFailed;
    complain(options.file, qom_reader_error());
    return kUnreadable;
  }
  verification.conclude(options.file);
  return verification.good() ? kGood : kFailed;
}

}  // namespace

void add_verify_command(CLI::App &app, int &status) {
  const auto options = std::make_shared<Options>();
  Subcommand command(app, "verify", "Reads and decodes everything and tells what is damaged");
  command.recording("FILE", &options->file, "the recording");
  command.option("--limit", "NUMBER", "list at most this many problems; 50 when not given",
                 [options](const std::string &text) {
                   const std::optional<size_t> limit = whole_number(text);
                   if (!limit) return qomtool::quoted(text) + " is not a whole number, 0 or more";
                   options->limit = *limit;
                   return std::string();
                 });
  command.does(status, [options] { return verify(*options); });
}
