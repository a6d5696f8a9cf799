/* The way of a picture from the frame image to the window. */

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench_view.h"
#include "display/damage.h"
#include "display/pipeline.h"
#include "display/scale.h"
#include "display/scaling.h"
#include "display/ximage.h"
#include "playback/record_process.h"
#include "ratio.h"

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;

/* Shows a damage, and waits until the server has shown it. */
bench::Work display(QomView *view, XRectangle damage) {
  return [view, damage] {
    region_touch(view->ximage_region, damage);
    ViewDisplay(view);
    XSync(view->display, False);
  };
}

constexpr XRectangle kWhole{0, 0, kWidth, kHeight};
constexpr XRectangle kPart{700, 500, 192, 108}; /* a hundredth of it */

/* The requests alone that bring a whole frame to the window, which no view can do without;
   shared memory has to be read before the view may change it. */
bench::Work bare_requests(QomView *view) {
  return [view] {
    pixmap_upload(view, view->ximage, 0, 0, kWhole);
    XCopyArea(view->display, view->pixmap, Tk_WindowId(view->tkwin), view->gc, 0, 0, kWidth,
              kHeight, 0, 0);
    XSync(view->display, False);
  };
}

/* Whole frames come a few times a second, so every run is timed by itself, in turn with the
   yardstick. View and server work one after the other: what counts is when the frame is there. */
void frame_row(bench::Table *table, const std::string &name, QomView *view,
               bench::Options options) {
  options.clock = bench::Clock::wall;
  options.before = [] {};
  table->row({name, "the bare requests"},
             bench::cost(bare_requests(view), display(view, kWhole), options), bench::at_most(1.1));
}

/* Pixels in the process's own memory, as where the server is not on this machine. */
void frame_unshare(QomView *view) {
  XImage *copy = ximage_duplicate(view->ximage);
  XDestroyImage(view->ximage);
  view->ximage = copy;
}

void mode(Tcl_Interp *interp, QomView *view, bool on, int width, int height) {
  bench::evaluate(interp, on ? ".v configure -scaling 1" : ".v configure -scaling 0");
  bench::evaluate(
      interp, "wm geometry . " + std::to_string(width) + "x" + std::to_string(height) + "; update");
  display(view, kWhole)();
}

bench::Work scale(QomView *view, Box damage) {
  return [view, damage] { ximage_scale(view, scaled_damage(view, damage)); };
}

bench::Work screen_changes(QomView *view) {
  return
      [view] { screen_change_process(view, view->width == kWidth ? kWidth - 1 : kWidth, kHeight); };
}

}  // namespace

int main(int argc, char *argv[]) {
  bench::Options options = bench::options_read(
      argc, argv, "Measures how long pictures take from the frame image to the window.");
  Tcl_Interp *interp = bench::interp_start(argv[0]);
  const std::string file = bench::picture_recording(kWidth, kHeight);
  QomView *view = bench::view_show(interp, file, kWidth, kHeight);
  options.server = bench::server_clock(view->display);

  const size_t size = static_cast<size_t>(view->ximage->bytes_per_line) * kHeight;
  const std::vector<char> from(size, 1);
  std::vector<char> to(size);
  const bench::Work copy = [&] { memcpy(to.data(), from.data(), size); };

  bench::Table table(
      options,
      "1920x1080, natural size and scaled to 1280x720; wall time of whole frames, otherwise CPU "
      "time of the view and the X server");
  mode(interp, view, false, kWidth, kHeight);
  const bool shared = view->ximage->obdata != nullptr;
  if (shared) frame_row(&table, "whole frame to the window, shared memory", view, options);
  table.row({"showing 1% damage, natural size", "full damage"},
            bench::cost(display(view, kWhole), display(view, kPart), options), bench::at_most(0.1));
  frame_unshare(view);
  frame_row(&table, "whole frame to the window, sent", view, options);

  mode(interp, view, true, 1280, 720);
  table.row({"showing 1% damage, scaled", "full damage"},
            bench::cost(display(view, kWhole), display(view, kPart), options), bench::at_most(0.1));
  table.row(
      {"scaling a damage of 200x100", "scaling all"},
      bench::cost(scale(view, {0, 0, kWidth, kHeight}), scale(view, {700, 500, 900, 600}), options),
      bench::at_most(1.0 / 50));
  table.row({"screen change", "memcpy of a frame"},
            bench::cost(copy, screen_changes(view), options), bench::at_most(3));
  return table.close();
}
