#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <memory>
#include <utility>

#include "clock.h"
#include "commands.h"
#include "counted.h"
#include "film_areas.h"
#include "formatted.h"
#include "gaps.h"
#include "info_json.h"
#include "origins.h"
#include "qom/screen.h"
#include "recording.h"
#include "subcommand.h"
#include "summary.h"
#include "text/quote.h"

namespace {

using namespace qomtool;

struct Options {
  std::string file;
  bool json = false;
};

std::string bytes_text(uint64_t bytes) {
  static constexpr const char *kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB"};
  double amount = static_cast<double>(bytes);
  size_t unit = 0;
  while (amount >= 1024 && unit + 1 < std::size(kUnits)) {
    amount /= 1024;
    ++unit;
  }
  return formatted(unit ? "%.1f %s" : "%.0f %s", amount, kUnits[unit]);
}

double percent(uint64_t part, uint64_t whole) {
  return whole ? 100.0 * static_cast<double>(part) / static_cast<double>(whole) : 0;
}

void line(const char *name, const std::string &value) {
  std::printf("%-13s %s\n", name, value.c_str());
}

std::string number(uint64_t value) {
  return std::to_string(value);
}

void print_header(const QomHeader &header) {
  line("screen", number(header.width) + 'x' + number(header.height) + " pixels, depth " +
                     number(header.depth));
  line("pixels", std::string(pixel_format_string(header.pixel_format)) + ", rows padded to " +
                     number(header.scanline_pad ? header.scanline_pad : 8) + " bits");
  line("palette", header.palette_size ? counted(header.palette_size, "entry", "entries") : "none");
  line("key codes", number(header.min_keycode) + " to " + number(header.max_keycode));
  line("user", header.user ? quoted(header.user) : "absent");
  line("tfn", header.tfn ? quoted(header.tfn) : "absent");
}

void print_state(const QomReaderInfo &info) {
  line("state", qom_reader_state_to_string(info.state));
  if (info.state == QOM_STATE_UNFINISHED) {
    line("", "no end mark: it is still being written, or its writer was cut off");
  }
  if (info.head_recovered) line("", "the file head is broken; a copy of it stands in");
  if (info.torn_bytes) {
    line("", counted(info.torn_bytes, "byte") + " of an incomplete record at the end");
  }
  if (info.damaged_bytes) {
    line("", counted(info.damaged_bytes, "byte that belongs", "bytes that belong") +
                 " to no record, the first at offset " + std::to_string(info.damaged_at));
  }
  if (info.times_raised) {
    line("",
         counted(info.times_raised, "record") + " whose time goes back, shown at the time before");
  }
  if (info.unknown_records) {
    line("",
         counted(info.unknown_records, "record") + " of a type that this program does not know");
  }
}

void print_times(const Recording &recording, const Summary &summary) {
  const uint64_t start = recording.header->timestamp;
  line("start", local_time(start));
  if (recording.length == 0) return line("end", "no records");
  line("end", local_time(recording.index[recording.length - 1].timestamp));
  line("duration", elapsed_time(0, summary.duration));
  if (summary.duration > 0) {
    const double records = per_second(summary.total.count, summary.duration);
    const double bytes = per_second(summary.total.bytes, summary.duration);
    line("average rate",
         formatted("%.1f records/s, ", records) + bytes_text(static_cast<uint64_t>(bytes)) + "/s");
  }
  if (summary.picture_interval > 0) {
    line("pictures", formatted("%.1f a second while the picture changed",
                               per_second(1, summary.picture_interval)));
  }
  if (summary.largest_gap > 0) {
    const uint64_t before = recording.index[summary.gap_index].timestamp;
    line("largest gap", elapsed_time(0, summary.largest_gap) + " after record #" +
                            number(summary.gap_index) + ", at " + elapsed_time(start, before) +
                            " (" + local_time(before) + ')');
  }
}

void print_gaps(std::span<const QomGap> gaps, uint64_t start) {
  constexpr size_t kShown = 20;
  if (gaps.empty()) return;
  uint64_t missing = 0;
  for (const QomGap &gap : gaps) {
    if (gap.reason != QOM_GAP_CLOCK_SET) missing += gap.end - gap.begin;
  }
  line("not recorded", elapsed_time(0, missing) + " in all, " + counted(gaps.size(), "mark") + ':');
  for (const QomGap &gap : gaps.first(std::min(gaps.size(), kShown))) {
    line("", gap_text(gap, start));
  }
  if (gaps.size() > kShown) {
    line("", number(gaps.size() - kShown) + " more; --json lists them all");
  }
}

void print_film(const Recording &recording, uint64_t duration) {
  const std::span<const QomFilmArea> areas = film_areas_of(recording.reader.get());
  if (areas.empty()) return;
  const FilmShare share = film_share(areas, *recording.header, duration);
  line("film", "for " + elapsed_time(0, share.time) +
                   formatted(" (%.1f %% of the time), %.1f %% of the area in all:",
                             percent(share.time, duration), 100 * share.area));
  line("",
       film_limits_text(areas[0]) + "; " + counted(areas.size(), "mark") + ", listed by --json");
}

// The newest first.
void print_origins(std::span<const QomOrigin> origins) {
  const char *name = "cut out of";
  for (auto origin = origins.rbegin(); origin != origins.rend(); ++origin) {
    for (const std::string &text : origin_lines(*origin)) line(std::exchange(name, ""), text);
    name = "and that of";
  }
}

// How much is not quite what was on the screen; nothing to say about most recordings.
void print_lossy(QomReader *reader) {
  QomLossyShare share;
  if (qom_screen_lossy_share(reader, nullptr, nullptr, &share) != 0 || share.records == 0) return;
  line("lossy", formatted("%.1f %% of the time, %.1f %% of the area in all, ",
                          percent(share.time, share.whole), 100 * share.area) +
                    counted(share.records, "record"));
}

void print_types(const Summary &summary) {
  std::printf("\n%-25s %12s %12s %7s\n", "records", "count", "bytes", "share");
  const auto row = [&](const std::string &name, const TypeSummary &type) {
    std::printf("%-25s %12" PRIu64 " %12s %5.1f %%\n", name.c_str(), type.count,
                bytes_text(type.bytes).c_str(), percent(type.bytes, summary.total.bytes));
  };
  for (size_t type = 0; type < summary.types.size(); ++type) {
    if (summary.types[type].count > 0) {
      row(record_name(static_cast<QomRecordType>(type)), summary.types[type]);
    }
  }
  row("total", summary.total);
}

void print_table(const std::string &path, const Recording &recording, const Summary &summary) {
  const QomReaderInfo &info = recording.info;
  line("recording", quoted_name(path));
  line("file", bytes_text(info.file_size) + " (" + number(info.file_size) + " bytes), format " +
                   number(info.major_version) + '.' + number(info.minor_version));
  print_state(info);
  print_header(*recording.header);
  print_times(recording, summary);
  print_gaps(gaps_of(recording.reader.get()), recording.header->timestamp);
  print_film(recording, summary.duration);
  if (info.checkpoint_count) {
    line("checkpoints", number(info.checkpoint_count) + ", " + bytes_text(info.checkpoint_bytes) +
                            formatted(" (%.1f %% of the records)",
                                      percent(info.checkpoint_bytes, info.record_bytes)));
  } else {
    line("checkpoints", "none");
  }
  print_lossy(recording.reader.get());
  print_origins(origins_of(recording.reader.get()));
  print_types(summary);
}

// Plain ASCII, so that no text of the recording can steer a terminal; bytes that are no UTF-8
// become replacement characters.
void print_json(const std::string &path, const Recording &recording) {
  nlohmann::ordered_json json = {{"file", path}};
  json.update(info_json(recording));
  std::puts(json.dump(2, ' ', true, nlohmann::json::error_handler_t::replace).c_str());
}

int info(const Options &options) {
  const Recording recording = open_recording(options.file);
  if (!recording) return kUnreadable;
  if (options.json)
    print_json(options.file, recording);
  else
    print_table(options.file, recording, summarise(recording));
  return kGood;
}

}  // namespace

void add_info_command(CLI::App &app, int &status) {
  const auto options = std::make_shared<Options>();
  Subcommand command(app, "info", "Tells what a recording holds");
  command.recording("FILE", &options->file, "the recording");
  command.flag("--json", &options->json, "print JSON for programs");
  command.does(status, [options] { return info(*options); });
}
