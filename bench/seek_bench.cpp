/* Moving to any place of a long recording, beside replaying all of it; and the library's screen
   beside the view that is made of it. */

#include <algorithm>
#include <cstdio>
#include <random>

#include "bench_view.h"
#include "desktop_recording.h"
#include "display/pipeline.h"
#include "playback/keyframe.h"
#include "playback/navigation.h"
#include "playback/stepping.h"
#include "qom/screen.h"
#include "ratio.h"

namespace {

constexpr int kHours = 8;
constexpr int kPictures = kHours * 36000;
constexpr int kMoves = 200;
constexpr int kColdMoves = 60;

double seconds_now() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/* The whole of a move as a script sees it: to the picture in the window. */
double move(QomView *view, size_t frame) {
  const double start = seconds_now();
  while (go_to_frame(view, frame) & kMoveTimeout) {
  }
  ViewDisplay(view);
  XSync(view->display, False);
  return seconds_now() - start;
}

/* Seconds of going through all of it, past every checkpoint, as playing does. */
double pass(QomView *view) {
  const double start = seconds_now();
  while (go_from_to(view, view->current_frame, view->number_of_frames) == kMoveTimeout) {
  }
  return seconds_now() - start;
}

double median_of(std::vector<double> moves) {
  std::sort(moves.begin(), moves.end());
  return moves[moves.size() / 2];
}

void moves_print(const char *name, std::vector<double> moves, double linear) {
  std::sort(moves.begin(), moves.end());
  const double median = median_of(moves);
  std::printf("%-46s median %7.2f ms = 1/%-6.0f worst %7.2f ms = 1/%.0f\n", name, 1e3 * median,
              linear / median, 1e3 * moves.back(), linear / moves.back());
}

std::vector<double> random_moves(QomView *view, int count) {
  std::mt19937 random(3);
  std::vector<double> moves;
  moves.reserve(static_cast<size_t>(count));
  for (int i = 0; i < count; ++i)
    moves.push_back(move(view, random() % (view->number_of_frames + 1)));
  return moves;
}

std::vector<double> cold_moves(Tcl_Interp *interp, const std::string &file, int count) {
  std::mt19937 random(5);
  std::vector<double> moves;
  moves.reserve(static_cast<size_t>(count));
  for (int i = 0; i < count; ++i) {
    QomView *view = bench::view_show(interp, file, 1920, 1080);
    moves.push_back(move(view, random() % (view->number_of_frames + 1)));
    bench::evaluate(interp, "destroy .v");
  }
  return moves;
}

/* Moves of the library's screen to the time of a frame. Nothing takes long enough to be paused. */
class ScreenMoves {
 public:
  explicit ScreenMoves(const std::string &file, size_t memory = 0)
      : reader_(qom_reader_open(file.c_str())) {
    QomScreenOptions options = {};
    options.memory = memory;
    screen_ = qom_screen_open(reader_, &options);
  }
  ~ScreenMoves() {
    qom_screen_close(screen_);
    qom_reader_close(reader_);
  }
  ScreenMoves(const ScreenMoves &) = delete;
  ScreenMoves &operator=(const ScreenMoves &) = delete;

  double move(size_t frame) {
    const uint64_t time = qom_info_header(reader_)->timestamp + frame * 100000;
    const double start = seconds_now();
    qom_screen_go_to_time(screen_, time);
    return seconds_now() - start;
  }
  /* Through all of it, past every checkpoint. */
  void pass() { qom_screen_apply(screen_, qom_screen_length(screen_)); }

 private:
  QomReader *reader_;
  QomScreen *screen_;
};

/* The same moves as cold_moves() and random_moves(). */
std::vector<double> cold_screen_moves(const std::string &file, size_t frames, int count) {
  std::mt19937 random(5);
  std::vector<double> moves(static_cast<size_t>(count));
  for (double &took : moves) took = ScreenMoves(file).move(random() % (frames + 1));
  return moves;
}

std::vector<double> random_screen_moves(ScreenMoves &screen, size_t frames, int count) {
  std::mt19937 random(3);
  std::vector<double> moves(static_cast<size_t>(count));
  for (double &took : moves) took = screen.move(random() % (frames + 1));
  return moves;
}

void recordings_write(const std::string &file, const std::string &plain) {
  bench::DesktopRecording recording(bench::Activity::day, file, plain);
  for (int i = 1; i <= kPictures; ++i) {
    recording.next();
    if (i % 36000 == 0) std::fprintf(stderr, "wrote %d of %d hours\n", i / 36000, kHours);
  }
}

}  // namespace

int main(int argc, char *argv[]) {
  const bench::Options options = bench::options_read(
      argc, argv,
      "Moves in a recording of eight hours, which takes a few minutes to write to /tmp.");
  Tcl_Interp *interp = bench::interp_start(argv[0]);
  const std::string file = bench::temporary_recording();
  const std::string plain = bench::temporary_recording();
  recordings_write(file, plain);

  QomView *view = bench::view_show(interp, plain, 1920, 1080);
  const double linear = pass(view);
  std::printf(
      "moves of %d hours of text, 1920x1080 (CPU time), as a part of replaying all: %.1f s\n",
      kHours, linear);
  moves_print("passed before, no checkpoints", random_moves(view, kMoves), linear);
  bench::evaluate(interp, "destroy .v");
  const std::vector<double> cold = cold_moves(interp, file, kColdMoves);
  moves_print("a fresh view each, with checkpoints", cold, linear);
  view = bench::view_show(interp, file, 1920, 1080);
  const size_t frames = view->number_of_frames;
  pass(view);
  const std::vector<double> warm = random_moves(view, kMoves);
  moves_print("passed before, with checkpoints", warm, linear);

  const std::vector<double> cold_screen = cold_screen_moves(file, frames, kColdMoves);
  std::vector<double> warm_screen[2];
  const size_t memories[] = {0, kKeyFrameCeiling};
  for (size_t i = 0; i < 2; ++i) {
    ScreenMoves screen(file, memories[i]);
    screen.pass();
    warm_screen[i] = random_screen_moves(screen, frames, kMoves);
  }
  moves_print("the library's screen, 64 MiB, passed before", warm_screen[0], linear);
  bench::Table table(options, "the library's screen beside a view");
  table.row({"screen: move to a place of 8 hours, fresh", "the view's, fresh"},
            median_of(cold_screen) / median_of(cold), bench::at_most(1));
  table.row({"screen: move to a place of 8 hours, passed before, as much memory",
             "the view's, passed before"},
            median_of(warm_screen[1]) / median_of(warm), bench::at_most(1));
  return table.close();
}
