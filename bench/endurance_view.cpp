/*
 * endurance_view [--hours H] [--moves N] [--play SECONDS] [--stops N]
 *
 * A long day of the widget: a recording of so many hours is passed once, then moved about in,
 * played and stopped in at random places, where the window is compared with the pictures that the
 * generator drew. Prints a table of what must not grow meanwhile and ends with status 1 when
 * something did, or when a picture is not the one that was drawn. bench/endurance runs it.
 */

#include <X11/Xutil.h>
#include <X11/extensions/XRes.h>
#include <malloc.h>
#include <unistd.h>
#include <zstd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>

#include "bench_view.h"
#include "desktop_recording.h"
#include "handles.h"
#include "playback/stepping.h"
#include "recording/timeline.h"

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kPicturesPerHour = 36000;
constexpr long kMemoryGrowth = 16 << 10; /* KiB that a flat line may rise by */

struct Settings {
  double hours = 8;
  int moves = 1000;
  int play = 600; /* seconds */
  int stops = 100;
};

[[noreturn]] void usage(int status) {
  std::fprintf(status == 0 ? stdout : stderr,
               "usage: endurance_view [--hours H] [--moves N] [--play SECONDS] [--stops N]\n");
  std::exit(status);
}

Settings settings_read(int argc, char *argv[]) {
  Settings settings;
  for (int i = 1; i < argc; i += 2) {
    const std::string option = argv[i];
    if (option == "--help") usage(0);
    if (i + 1 == argc) usage(2);
    char *end = nullptr;
    const double value = std::strtod(argv[i + 1], &end);
    const bool whole = option == "--hours" || value == static_cast<int>(value);
    if (end == argv[i + 1] || *end != '\0' || !(value > 0 && value <= 1e6) || !whole) usage(2);
    if (option == "--hours")
      settings.hours = value;
    else if (option == "--moves")
      settings.moves = static_cast<int>(value);
    else if (option == "--play")
      settings.play = static_cast<int>(value);
    else if (option == "--stops")
      settings.stops = static_cast<int>(value);
    else
      usage(2);
  }
  return settings;
}

/* -- the recording, and what was drawn for it -- */

/* A picture as it was drawn, the cursor over it, packed by means of its own. */
std::vector<uint8_t> picture_keep(const bench::DesktopRecording &recording) {
  const bench::Desktop &desktop = recording.desktop();
  std::vector<uint32_t> pixels(desktop.pixels(), desktop.pixels() + size_t{kWidth} * kHeight);
  const bench::Area &cursor = recording.cursor();
  const int right = std::min(cursor.x + cursor.width, kWidth);
  const int bottom = std::min(cursor.y + cursor.height, kHeight);
  for (int y = cursor.y; y < bottom; ++y)
    for (int x = cursor.x; x < right; ++x) pixels[static_cast<size_t>(y) * kWidth + x] = 0;
  std::vector<uint8_t> packed(ZSTD_compressBound(desktop.bytes()));
  packed.resize(ZSTD_compress(packed.data(), packed.size(), pixels.data(), desktop.bytes(), 1));
  packed.shrink_to_fit();
  return packed;
}

using Pictures = std::map<int, std::vector<uint8_t>>; /* by number, from 0 on */

/* Writes the recording and keeps as many pictures of it as there are stops. */
Pictures recording_write(const std::string &file, const Settings &settings) {
  const int count = static_cast<int>(settings.hours * kPicturesPerHour);
  std::mt19937 random(11);
  Pictures kept;
  while (static_cast<int>(kept.size()) < std::min(settings.stops, count - 2))
    kept[static_cast<int>(random() % static_cast<unsigned>(count - 2))];
  bench::DesktopRecording recording(bench::Activity::day, file);
  for (int i = 0; i < count; ++i) {
    if (i > 0) recording.next();
    if (const auto found = kept.find(i); found != kept.end())
      found->second = picture_keep(recording);
    if (i % kPicturesPerHour == 0) std::fprintf(stderr, "writing hour %d\n", i / kPicturesPerHour);
  }
  return kept;
}

/* -- what must not grow -- */

struct Standing {
  long memory = 0; /* KiB that no file backs */
  long descriptors = 0;
  long resources = 0; /* of this client on the X server */
  long segments = 0;  /* of shared memory that this process has made */
};

/* What was freed is given back first: else it would hide what is lost. */
long memory_used() {
  malloc_trim(0);
  std::ifstream status("/proc/self/status");
  long sum = 0;
  for (std::string line; std::getline(status, line);) {
    std::istringstream words(line);
    std::string name;
    long kilobytes = 0;
    words >> name >> kilobytes;
    if (name == "RssAnon:" || name == "RssShmem:") sum += kilobytes;
  }
  return sum;
}

long descriptors_open() {
  const std::filesystem::directory_iterator folder("/proc/self/fd");
  return std::distance(begin(folder), end(folder));
}

long resources_held(Display *display, Window window) {
  int count = 0;
  XResType *types = nullptr;
  if (!XResQueryClientResources(display, window, &count, &types)) return -1;
  long sum = 0;
  for (int i = 0; i < count; ++i) sum += types[i].count;
  XFree(types);
  return sum;
}

long segments_made() {
  std::ifstream list("/proc/sysvipc/shm");
  std::string line;
  std::getline(list, line);
  long sum = 0;
  while (std::getline(list, line)) {
    std::istringstream words(line);
    long key = 0, id = 0, permissions = 0, size = 0, creator = 0;
    words >> key >> id >> permissions >> size >> creator;
    sum += creator == getpid();
  }
  return sum;
}

Standing standing(Tcl_Interp *interp) {
  bench::evaluate(interp, "update");
  Tk_Window top = Tk_MainWindow(interp);
  XSync(Tk_Display(top), False);
  return {memory_used(), descriptors_open(), resources_held(Tk_Display(top), Tk_WindowId(top)),
          segments_made()};
}

class Findings {
 public:
  Findings() { std::printf("%-56s %10s %10s %10s\n", "", "before", "after", "at most"); }

  void row(const std::string &what, long before, long after, long most) {
    const bool kept = after <= most;
    broken_ += !kept;
    std::printf("%-56s %10ld %10ld %10ld  %s\n", what.c_str(), before, after, most,
                kept ? "ok" : "BROKEN");
    static_cast<void>(std::fflush(stdout));
  }
  void rows(const std::string &when, const Standing &before, const Standing &after) {
    row("descriptors, " + when, before.descriptors, after.descriptors, before.descriptors);
    row("X resources, " + when, before.resources, after.resources, before.resources);
    row("shared memory segments, " + when, before.segments, after.segments, before.segments);
  }
  int status() const { return broken_ == 0 ? 0 : 1; }

 private:
  int broken_ = 0;
};

/* -- the day -- */

double milliseconds_now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return 1e3 * static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_nsec);
}

/* Returns when the frame is on the window. */
void seek(Tcl_Interp *interp, const QomView *view, int frame) {
  bench::evaluate(interp, "set at {}; ::qom::seek .v " + std::to_string(frame) +
                              "; while {$at ne {" + std::to_string(frame) +
                              "}} {vwait at}; update");
  XSync(view->display, False);
}

/* Random moves; the most memory that was in use after any of them. */
long moves_make(Tcl_Interp *interp, QomView *view, int count) {
  std::mt19937 random(3);
  std::vector<double> times;
  long most = 0;
  for (int i = 1; i <= count; ++i) {
    const double start = milliseconds_now();
    seek(interp, view, static_cast<int>(random() % (view->number_of_frames + 1)));
    times.push_back(milliseconds_now() - start);
    most = std::max(most, memory_used());
    if (i % 100 == 0) std::fprintf(stderr, "%d of %d moves\n", i, count);
  }
  std::sort(times.begin(), times.end());
  std::printf("%d moves: median %.1f ms, worst %.1f ms\n", count, times[times.size() / 2],
              times.back());
  return most;
}

long play(Tcl_Interp *interp, const QomView *view, int seconds) {
  seek(interp, view, 0);
  bench::evaluate(interp, "set shown 0; .v play start; after " + std::to_string(seconds) +
                              "000 {set over 1}; vwait over; .v play stop");
  std::printf("%d s played: %s frames shown\n", seconds,
              bench::evaluate(interp, "set shown").c_str());
  return memory_used();
}

/* How many pixels of the window differ from a picture that was drawn. */
long difference(const QomView *view, const std::vector<uint8_t> &packed) {
  std::vector<uint32_t> drawn(size_t{kWidth} * kHeight);
  const size_t bytes = drawn.size() * sizeof drawn[0];
  if (ZSTD_decompress(drawn.data(), bytes, packed.data(), packed.size()) != bytes) std::abort();
  const XImageHandle window(XGetImage(view->display, Tk_WindowId(view->tkwin), 0, 0, kWidth,
                                      kHeight, AllPlanes, ZPixmap));
  if (!window) return -1;
  long count = 0;
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x)
      count += ((XGetPixel(window.get(), x, y) ^ drawn[static_cast<size_t>(y) * kWidth + x]) &
                0xffffff) != 0;
  return count;
}

/* Frame f shows what was drawn before its instant: the picture f - 1. */
long stops_compare(Tcl_Interp *interp, const QomView *view, const Pictures &pictures) {
  std::vector<int> order;
  for (const auto &[number, packed] : pictures) order.push_back(number);
  std::shuffle(order.begin(), order.end(), std::mt19937(5));
  long wrong = 0;
  for (const int number : order) {
    seek(interp, view, number + 1);
    const long pixels = difference(view, pictures.at(number));
    if (pixels == 0) continue;
    ++wrong;
    std::printf("frame %d: %ld pixels differ\n", number + 1, pixels);
  }
  return wrong;
}

void pass(QomView *view) {
  while (go_from_to(view, view->current_frame, view->number_of_frames) == kMoveTimeout) {
  }
}

}  // namespace

int main(int argc, char *argv[]) {
  const Settings settings = settings_read(argc, argv);
  Tcl_Interp *interp = bench::interp_start(argv[0]);
  const std::string file = bench::temporary_recording();
  const Pictures pictures = recording_write(file, settings);

  /* What Tk keeps from the first view on is there before anything is counted. */
  bench::view_show(interp, bench::picture_recording(kWidth, kHeight), kWidth, kHeight);
  bench::evaluate(interp, "destroy .v");
  const Standing before = standing(interp);

  QomView *view = bench::view_show(interp, file, kWidth, kHeight);
  bench::evaluate(interp,
                  "proc told news {if {[dict exists $news frame]} {"
                  "set ::at [dict get $news frame]; incr ::shown}}; .v callback told");
  seek(interp, view, 10);
  seek(interp, view, 0);
  const Standing opened = standing(interp);
  pass(view);
  const long passed = standing(interp).memory;
  std::printf("%.3g hours of 1920x1080, %.1f MB, %zu records; KiB of memory: %ld when opened\n",
              settings.hours, static_cast<double>(std::filesystem::file_size(file)) / 1e6,
              index_length(view), opened.memory);

  const long moved = moves_make(interp, view, settings.moves);
  const long played = play(interp, view, settings.play);
  const long wrong = stops_compare(interp, view, pictures);
  const Standing after = standing(interp);
  bench::evaluate(interp, "destroy .v");
  const Standing closed = standing(interp);

  Findings findings;
  findings.row("KiB of memory, after the first pass and random moves", passed, moved,
               passed + kMemoryGrowth);
  findings.row("KiB of memory, after playing", passed, played, passed + kMemoryGrowth);
  findings.row("KiB of memory, after all", passed, after.memory, passed + kMemoryGrowth);
  findings.rows("opened and after all", opened, after);
  findings.row("KiB of memory, before opening and after closing", before.memory, closed.memory,
               before.memory + kMemoryGrowth);
  findings.rows("before opening and after closing", before, closed);
  findings.row("of " + std::to_string(pictures.size()) + " stops, other pictures than drawn", 0,
               wrong, 0);
  return findings.status();
}
