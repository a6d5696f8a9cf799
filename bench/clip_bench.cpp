/*
 * What video_bench.py compares with a video player; of no use alone.
 *
 *   clip_bench write text|film|busy SECONDS FILE   records, and writes the pictures, 1920x1080
 *                                                  bgr0, ten a second, to standard output
 *   clip_bench move FILE FRAME...                  moves a fresh view from frame to frame; prints
 *                                                  the milliseconds of wall time of each move
 *   clip_bench passed FILE FRAME...                the same in a view that went through all of it
 *   clip_bench play FILE SECONDS                   plays
 */

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench_view.h"
#include "desktop_recording.h"
#include "display/pipeline.h"
#include "playback/navigation.h"
#include "playback/stepping.h"

namespace {

/* Of the command line; 0 for what is none. */
int number(const char *text) {
  return static_cast<int>(strtol(text, nullptr, 10));
}

int write_clip(const char *kind, int seconds, const char *file) {
  const bench::Activity activity = strcmp(kind, "film") == 0   ? bench::Activity::film
                                   : strcmp(kind, "busy") == 0 ? bench::Activity::busy
                                                               : bench::Activity::day;
  bench::DesktopRecording recording(activity, file);
  for (int i = 0; i < seconds * 10; ++i) {
    if (i > 0) recording.next();
    const bench::Desktop &desktop = recording.desktop();
    if (fwrite(desktop.pixels(), 1, desktop.bytes(), stdout) != desktop.bytes()) return 1;
  }
  return fflush(stdout);
}

double milliseconds_now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return 1e3 * static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_nsec);
}

int move(Tcl_Interp *interp, const char *file, bool passed, int count, char *frames[]) {
  QomView *view = bench::view_show(interp, file, 1920, 1080);
  while (passed && go_from_to(view, view->current_frame, view->number_of_frames) == kMoveTimeout) {
  }
  for (int i = 0; i < count; ++i) {
    const size_t frame = static_cast<size_t>(number(frames[i]));
    const double start = milliseconds_now();
    while (go_to_frame(view, frame) & kMoveTimeout) {
    }
    ViewDisplay(view);
    XSync(view->display, False);
    printf("%.3f\n", milliseconds_now() - start);
  }
  return 0;
}

int play(Tcl_Interp *interp, const char *file, const char *seconds) {
  bench::view_show(interp, file, 1920, 1080);
  bench::evaluate(interp, std::string(".v play start; after [expr {1000 * ") + seconds +
                              "}] {set over 1}; vwait over");
  return 0;
}

}  // namespace

int main(int argc, char *argv[]) {
  const std::string command = argc > 2 ? argv[1] : "";
  if (command == "write" && argc == 5) return write_clip(argv[2], number(argv[3]), argv[4]);
  const bool passed = command == "passed";
  if (passed || command == "move")
    return move(bench::interp_start(argv[0]), argv[2], passed, argc - 3, argv + 3);
  if (command == "play" && argc == 4) return play(bench::interp_start(argv[0]), argv[2], argv[3]);
  fprintf(stderr, "usage: see video_bench.py\n");
  return 2;
}
