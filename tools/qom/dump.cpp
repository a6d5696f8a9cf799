#include <unistd.h>

#include <cstdio>
#include <memory>

#include "clock.h"
#include "commands.h"
#include "film_areas.h"
#include "gaps.h"
#include "progress.h"
#include "range.h"
#include "recording.h"
#include "subcommand.h"
#include "text/quote.h"
#include "text/writer.h"

namespace {

using namespace qomtool;

struct Options {
  std::string file;
  std::string from;
  std::string to;
  bool text = false;
  bool utc = false;
};

// Whether the file ends and not the records: an unreadable record is told and passed over.
bool output_failed() {
  return std::ferror(stdout) != 0;
}

void tell_unreadable(Progress &progress, const Options &options, size_t index) {
  progress.clear();
  complain(options.file, "record #" + std::to_string(index) + ": " + qom_reader_error());
}

// Steps through marks of one kind beside the records.
template <typename Mark>
class Marks {
 public:
  Marks(std::span<const Mark> marks, const Recording &recording, Range range)
      : marks_(marks), range_(range), length_(recording.length) {}

  // Calls `show` for each mark directly before the record.
  template <typename Show>
  void before(size_t index, Show show) {
    for (; next_ < marks_.size() && marks_[next_].record <= index; ++next_) {
      if (marks_[next_].record >= range_.begin) show(marks_[next_]);
    }
  }
  // The same for those behind the last record, when the range reaches there.
  template <typename Show>
  void at_end(Show show) {
    if (range_.end == length_) before(length_, show);
  }

 private:
  std::span<const Mark> marks_;
  Range range_;
  size_t length_;
  size_t next_ = 0;
};

int dump_lines(const Recording &recording, const Options &options, Range range,
               Progress &progress) {
  int status = kGood;
  const uint64_t start = recording.header->timestamp;
  Marks gaps(gaps_of(recording.reader.get()), recording, range);
  Marks film(film_areas_of(recording.reader.get()), recording, range);
  const auto show = [start](const QomGap &gap) {
    std::printf("not recorded: %s\n", gap_text(gap, start).c_str());
  };
  const auto show_film = [start](const QomFilmArea &area) {
    std::printf("film: %s\n", film_area_text(area, start).c_str());
  };
  for (size_t i = range.begin; i < range.end && !output_failed(); ++i) {
    gaps.before(i, show);
    film.before(i, show_film);
    const QomIndexEntry &entry = recording.index[i];
    const RecordPtr record(qom_record_at_index(recording.reader.get(), i));
    std::printf("#%zu %s %s ", i, elapsed_time(start, entry.timestamp).c_str(),
                local_time(entry.timestamp).c_str());
    if (record) {
      qom_record_dump(record.get());
    } else {
      std::printf("%s, not readable: %s\n",
                  qom_record_type_to_string(static_cast<QomRecordType>(entry.type)),
                  printable(qom_reader_error()).c_str());
      tell_unreadable(progress, options, i);
      status = kFailed;
    }
    progress.update(i - range.begin);
  }
  gaps.at_end(show);
  film.at_end(show_film);
  return status;
}

// Writes the marks of those checkpoints that lie whole in the range.
class CheckpointMarks {
 public:
  CheckpointMarks(const Recording &recording, Range range, TextWriter &writer)
      : reader_(recording.reader.get()), range_(range), writer_(writer) {}

  void before_record(size_t index) {
    size_t first, end;
    if (open_ || !qom_checkpoint_before(reader_, index, &first, &end)) return;
    if (first != index || end > range_.end) return;
    writer_.checkpoint_begin();
    open_ = true;
    end_ = end;
  }
  void after_record(size_t index) {
    if (!open_ || index + 1 != end_) return;
    writer_.checkpoint_end();
    open_ = false;
  }

 private:
  QomReader *reader_;
  Range range_;
  TextWriter &writer_;
  bool open_ = false;
  size_t end_ = 0;
};

int dump_text(const Recording &recording, const Options &options, Range range, Progress &progress) {
  int status = kGood;
  TextWriter writer(stdout, *recording.header);
  CheckpointMarks marks(recording, range, writer);
  Marks gaps(gaps_of(recording.reader.get()), recording, range);
  Marks film(film_areas_of(recording.reader.get()), recording, range);
  const auto show = [&writer](const QomGap &gap) { writer.gap(gap); };
  const auto show_film = [&writer](const QomFilmArea &area) { writer.film_area(area); };
  for (size_t i = range.begin; i < range.end && !output_failed(); ++i) {
    gaps.before(i, show);
    film.before(i, show_film);
    marks.before_record(i);
    const RecordPtr record(qom_record_at_index(recording.reader.get(), i));
    if (!record || !writer.record(record.get())) {
      writer.comment("record #" + std::to_string(i) + " is not readable: " + qom_reader_error());
      tell_unreadable(progress, options, i);
      status = kFailed;
    }
    marks.after_record(i);
    progress.update(i - range.begin);
  }
  gaps.at_end(show);
  film.at_end(show_film);
  return status;
}

int dump(const Options &options) {
  if (options.utc) use_utc();
  const Recording recording = open_recording(options.file);
  if (!recording) return kUnreadable;
  const Range range = choose(recording, options.from, options.to);
  if (range.begin == range.end && !(options.from.empty() && options.to.empty())) {
    complain(options.file, "no record lies in the range that --from and --to give");
    return kFailed;
  }
  Progress progress("dumping", range.end - range.begin, Progress::Unit::records,
                    isatty(STDOUT_FILENO) == 0);
  return options.text ? dump_text(recording, options, range, progress)
                      : dump_lines(recording, options, range, progress);
}

}  // namespace

void add_dump_command(CLI::App &app, int &status) {
  const auto options = std::make_shared<Options>();
  Subcommand command(app, "dump", "Prints the records of a recording");
  command.recording("FILE", &options->file, "the recording");
  command.option("--from", "POINT", &options->from, "the first record: an index or a time",
                 check_bound);
  command.option("--to", "POINT", &options->to, "the last record: an index or a time", check_bound);
  command.flag("--text", &options->text, "print the text form, which `qom make` reads");
  command.flag("--utc", &options->utc, "times of the clock are in UTC, not in the local zone");
  command.footer(
      "A POINT is a record's index (123 or #123), a time since the start of the recording (12.5s,\n"
      "2:03, 1:02:03.5 or 1h2m3s), a time of day (@14:03:05) or a date and clock\n"
      "(\"YYYY-MM-DD HH:MM:SS.mmm\"), both local without --utc.");
  command.does(status, [options] { return dump(*options); });
}
