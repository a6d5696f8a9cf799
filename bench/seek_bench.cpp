/* Moving to any place of a long recording, beside replaying all of it. */

#include <algorithm>
#include <cstdio>
#include <random>

#include "bench_view.h"
#include "desktop_recording.h"
#include "display/pipeline.h"
#include "playback/navigation.h"
#include "playback/stepping.h"
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

void moves_print(const char *name, std::vector<double> moves, double linear) {
  std::sort(moves.begin(), moves.end());
  const double median = moves[moves.size() / 2];
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

void recordings_write(const std::string &file, const std::string &plain) {
  bench::DesktopRecording recording(bench::Activity::day, file, plain);
  for (int i = 1; i <= kPictures; ++i) {
    recording.next();
    if (i % 36000 == 0) std::fprintf(stderr, "wrote %d of %d hours\n", i / 36000, kHours);
  }
}

}  // namespace

int main(int argc, char *argv[]) {
  bench::options_read(
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
  moves_print("a fresh view each, with checkpoints", cold_moves(interp, file, kColdMoves), linear);
  view = bench::view_show(interp, file, 1920, 1080);
  pass(view);
  moves_print("passed before, with checkpoints", random_moves(view, kMoves), linear);
  return 0;
}
