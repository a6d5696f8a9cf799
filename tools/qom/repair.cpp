#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <memory>
#include <vector>

#include "commands.h"
#include "counted.h"
#include "file_mode.h"
#include "progress.h"
#include "qom/writer.h"
#include "recording.h"
#include "subcommand.h"
#include "text/quote.h"

namespace {

using namespace qomtool;

struct Options {
  std::string in;
  std::string out;
};

struct Checkpoint {
  uint64_t first;
  uint64_t end;
};

// What a first walk over the file found. Records are counted as the scan meets them.
struct Survey {
  uint64_t records = 0;
  std::vector<uint64_t> faulty;         // records that cannot be decoded, ascending
  std::vector<Checkpoint> checkpoints;  // those without a faulty record, ascending
  uint64_t broken_checkpoints = 0;
  uint64_t malformed = 0;  // frames whose bytes are right and whose contents are not allowed
  uint64_t unknown = 0;
  uint64_t gaps = 0;
  uint64_t film_areas = 0;
  uint64_t torn_bytes = 0;
  bool head_broken = false;
  uint64_t damages = 0;
  uint64_t damaged_bytes = 0;
  int64_t damaged_at = -1;
  uint64_t lost_entries = 0;  // records that the index has in the damaged bytes
};

class Surveyor {
 public:
  Surveyor(const Recording &recording, Progress &progress)
      : recording_(recording), progress_(progress) {}

  static int visit(void *self, const QomScanEvent *event) {
    return static_cast<Surveyor *>(self)->visit(*event);
  }

  Survey survey;

 private:
  int visit(const QomScanEvent &event);
  void visit_damage(const QomScanEvent &event);
  void visit_checkpoint(const QomScanEvent &event);

  const Recording &recording_;
  Progress &progress_;
};

int Surveyor::visit(const QomScanEvent &event) {
  switch (event.kind) {
    case QOM_SCAN_RECORD:
      if (!event.record) {
        ++survey.malformed;
        break;
      }
      if (!fault_of(event.record, recording_.header).empty()) {
        survey.faulty.push_back(survey.records);
      }
      ++survey.records;
      break;
    case QOM_SCAN_DAMAGE:
      visit_damage(event);
      break;
    case QOM_SCAN_CHECKPOINT:
      visit_checkpoint(event);
      break;
    case QOM_SCAN_UNKNOWN:
      ++survey.unknown;
      break;
    case QOM_SCAN_GAP:
      ++survey.gaps;
      break;
    case QOM_SCAN_FILM_AREA:
      ++survey.film_areas;
      break;
    case QOM_SCAN_TORN:
      survey.torn_bytes += event.length;
      break;
    case QOM_SCAN_ORIGIN:
    case QOM_SCAN_INDEX:
    case QOM_SCAN_HEAD:
    case QOM_SCAN_OVERVIEW:
    case QOM_SCAN_END:
      break;
  }
  progress_.update((static_cast<uint64_t>(event.position) + event.length) / 2);
  return 0;
}

void Surveyor::visit_damage(const QomScanEvent &event) {
  if (event.position == 0) {
    survey.head_broken = true;
    return;
  }
  if (survey.damages++ == 0) survey.damaged_at = event.position;
  survey.damaged_bytes += event.length;
  const auto before = [](const QomIndexEntry &entry, int64_t position) {
    return entry.position < position;
  };
  const QomIndexEntry *end = recording_.index + recording_.length;
  const int64_t stop = event.position + static_cast<int64_t>(event.length);
  survey.lost_entries +=
      static_cast<uint64_t>(std::lower_bound(recording_.index, end, stop, before) -
                            std::lower_bound(recording_.index, end, event.position, before));
}

void Surveyor::visit_checkpoint(const QomScanEvent &event) {
  const auto faulty = std::lower_bound(survey.faulty.begin(), survey.faulty.end(), event.first);
  if (event.count == 0 || faulty != survey.faulty.end()) {
    ++survey.broken_checkpoints;
  } else {
    survey.checkpoints.push_back({event.first, event.first + event.count});
  }
}

// Writes the sound records and checkpoints that the survey found, in a second walk.
class Copy {
 public:
  Copy(const Recording &recording, const Survey &survey, QomWriter *writer, Progress &progress)
      : survey_(survey),
        file_size_(recording.info.file_size),
        writer_(writer),
        progress_(progress) {}

  static int visit(void *self, const QomScanEvent *event) {
    return static_cast<Copy *>(self)->visit(*event);
  }

  uint64_t written() const { return written_; }
  uint64_t refused() const { return refused_; }
  uint64_t checkpoints() const { return checkpoints_; }

 private:
  int visit(const QomScanEvent &event);
  bool append(const QomRecord *record);
  bool begin_checkpoint();
  bool end_checkpoint();

  const Survey &survey_;
  uint64_t file_size_;
  QomWriter *writer_;
  Progress &progress_;
  uint64_t met_ = 0;  // records, as the survey counts them
  uint64_t gaps_ = 0;
  uint64_t film_areas_ = 0;
  size_t next_faulty_ = 0;
  size_t next_checkpoint_ = 0;
  bool open_ = false;  // a checkpoint of the output
  uint64_t written_ = 0;
  uint64_t refused_ = 0;
  uint64_t checkpoints_ = 0;
};

// Not 0 when the output failed.
int Copy::visit(const QomScanEvent &event) {
  if (event.kind == QOM_SCAN_GAP && gaps_ < survey_.gaps) {
    ++gaps_;
    return qom_writer_gap(writer_, event.gap) == 0 || errno == EINVAL ? 0 : 1;
  }
  if (event.kind == QOM_SCAN_FILM_AREA && film_areas_ < survey_.film_areas) {
    ++film_areas_;
    return qom_writer_film_area(writer_, event.film_area) == 0 || errno == EINVAL ? 0 : 1;
  }
  if (event.kind != QOM_SCAN_RECORD || !event.record) return 0;
  // A recording that is still being written has grown since the survey.
  if (met_ == survey_.records) return 0;
  if (!begin_checkpoint()) return 1;
  const bool faulty = next_faulty_ < survey_.faulty.size() && survey_.faulty[next_faulty_] == met_;
  if (faulty)
    ++next_faulty_;
  else if (!append(event.record))
    return 1;
  ++met_;
  progress_.update((file_size_ + static_cast<uint64_t>(event.position) + event.length) / 2);
  return end_checkpoint() ? 0 : 1;
}

bool Copy::append(const QomRecord *record) {
  if (qom_writer_append(writer_, record) == 0) {
    ++written_;
    return true;
  }
  if (errno != EINVAL) return false;
  ++refused_;
  return true;
}

bool Copy::begin_checkpoint() {
  if (next_checkpoint_ == survey_.checkpoints.size() ||
      survey_.checkpoints[next_checkpoint_].first != met_) {
    return true;
  }
  open_ = qom_writer_begin_checkpoint(writer_) == 0;
  return open_ || errno == EINVAL;
}

bool Copy::end_checkpoint() {
  if (!open_ || survey_.checkpoints[next_checkpoint_].end != met_) return true;
  open_ = false;
  ++next_checkpoint_;
  if (qom_writer_end_checkpoint(writer_) == 0) {
    ++checkpoints_;
    return true;
  }
  // The records lack something that was set before and lost: they stay ordinary ones.
  return errno == EINVAL;
}

void print_count(uint64_t count, const char *thing, const char *which) {
  if (count > 0) std::printf("  %s %s\n", counted(count, thing).c_str(), which);
}

void print_left_behind(const Survey &survey, const Copy &copy) {
  const uint64_t checkpoints =
      survey.broken_checkpoints + survey.checkpoints.size() - copy.checkpoints();
  const uint64_t undecodable = survey.faulty.size();
  if (survey.head_broken)
    std::puts("the file head was broken; a copy of it stood in, and no record is lost by that");
  if (survey.damages + survey.malformed + undecodable + copy.refused() + survey.unknown +
          survey.torn_bytes + checkpoints ==
      0) {
    std::puts("nothing was lost");
    return;
  }
  std::puts("left behind:");
  if (survey.damages) {
    std::printf("  %s in %s, the first at offset %" PRId64 "\n",
                counted(survey.damaged_bytes, "damaged byte").c_str(),
                counted(survey.damages, "place").c_str(), survey.damaged_at);
  }
  print_count(survey.lost_entries, "record", "that the index has in these bytes");
  print_count(survey.malformed, "record", "with contents that the format does not allow");
  print_count(undecodable, "record", "whose pixels cannot be decoded");
  print_count(copy.refused(), "record", "that the writer refused");
  print_count(survey.unknown, "record", "of a type that this program does not know");
  print_count(survey.torn_bytes, "byte", "of an incomplete record at the end");
  print_count(checkpoints, "checkpoint", "whose other records went over as ordinary ones");
}

int stop_short(const Options &options, const Copy &copy, const std::string &why) {
  complain(options.out, why);
  complain(options.out, "not finished: it holds " + counted(copy.written(), "record") +
                            ", the first of those that could be kept");
  return kFailed;
}

// What the recording was cut out of. False when the output failed.
bool keep_origins(const Recording &recording, QomWriter *writer) {
  size_t count = 0;
  const QomOrigin *origins = qom_reader_origins(recording.reader.get(), &count);
  for (size_t i = 0; i < count; ++i) {
    if (qom_writer_origin(writer, &origins[i]) != 0) return false;
  }
  return true;
}

int repair_with(const Recording &recording, const Survey &survey, const Options &options,
                Progress &progress) {
  create_no_wider_than(options.in);
  QomWriter *writer = qom_writer_create(options.out.c_str(), recording.header);
  if (!writer) {
    progress.clear();
    complain(options.out, qom_reader_error());
    return kFailed;
  }
  Copy copy(recording, survey, writer, progress);
  const bool stopped = qom_reader_scan(recording.reader.get(), Copy::visit, &copy) != 0 ||
                       !keep_origins(recording, writer);
  const std::string why = stopped ? qom_reader_error() : "";
  const bool closed = qom_writer_close(writer) == 0;
  progress.clear();
  if (stopped) return stop_short(options, copy, why);
  if (!closed) return stop_short(options, copy, qom_reader_error());
  std::printf("%s: %s, %s\n", quoted_name(options.out).c_str(),
              counted(copy.written(), "record").c_str(),
              counted(copy.checkpoints(), "checkpoint").c_str());
  print_left_behind(survey, copy);
  return kGood;
}

int repair(const Options &options) {
  const Recording recording = open_recording(options.in);
  if (!recording) return kUnreadable;
  Progress progress("repairing", recording.info.file_size, Progress::Unit::bytes);
  Surveyor surveyor(recording, progress);
  if (qom_reader_scan(recording.reader.get(), Surveyor::visit, &surveyor) != 0) {
    progress.clear();
    complain(options.in, qom_reader_error());
    return kUnreadable;
  }
  return repair_with(recording, surveyor.survey, options, progress);
}

}  // namespace

void add_repair_command(CLI::App &app, int &status) {
  const auto options = std::make_shared<Options>();
  Subcommand command(app, "repair", "Writes what is readable of a recording into a new one");
  command.recording("IN", &options->in, "the recording, which is only read");
  command.recording("OUT", &options->out, "the new recording, which must not exist yet");
  command.does(status, [options] { return repair(*options); });
}
