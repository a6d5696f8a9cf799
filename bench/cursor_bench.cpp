/* Moving the remote cursor over an unchanged frame: the frame's size must not matter. */

#include <dlfcn.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <cstdio>
#include <string>
#include <vector>

#include "bench_view.h"
#include "display/pipeline.h"
#include "playback/record_process.h"
#include "ratio.h"

namespace {

/* Everything this process has sent to anyone, which is the X server alone. */
size_t bytes_sent = 0;

template <typename Function>
Function *next(const char *name) {
  return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

ssize_t counted(ssize_t sent) {
  if (sent > 0) bytes_sent += static_cast<size_t>(sent);
  return sent;
}

constexpr uint16_t kSide = 32; /* of the cursor, pixels */

void cursor_give(QomView *view) {
  std::vector<uint32_t> pixels(size_t{kSide} * kSide, 0x80402010);
  QomCursorImage cursor{};
  cursor.type = QOM_CURSOR_IMAGE;
  cursor.width = kSide;
  cursor.height = kSide;
  cursor.length = kSide * kSide * 4;
  cursor.data = reinterpret_cast<uint8_t *>(pixels.data());
  record_process(view, reinterpret_cast<const QomRecord *>(&cursor));
}

/* From one place to another and back, each shown. */
bench::Work move(QomView *view) {
  return [view] {
    for (const int x : {40, 60}) {
      QomCursorPosition position{};
      position.type = QOM_CURSOR_POSITION;
      position.x = position.y = static_cast<int16_t>(x);
      record_process(view, reinterpret_cast<const QomRecord *>(&position));
      ViewDisplay(view);
      XSync(view->display, False);
    }
  };
}

double bytes_of(const bench::Work &work) {
  work(); /* what comes first only */
  const size_t before = bytes_sent;
  work();
  return static_cast<double>(bytes_sent - before);
}

QomView *view_show(Tcl_Interp *interp, const std::string &top, int width, int height) {
  bench::evaluate(interp, "toplevel " + top + "; pack [::qom::view " + top + ".v " +
                              bench::picture_recording(width, height) + "] -fill both -expand 1");
  bench::evaluate(interp, "wm geometry " + top + " " + std::to_string(width * 2 / 3) + "x" +
                              std::to_string(height * 2 / 3) + "; tkwait visibility " + top +
                              ".v; update");
  Tcl_CmdInfo info{};
  Tcl_GetCommandInfo(interp, (top + ".v").c_str(), &info);
  auto *view = static_cast<QomView *>(info.objClientData);
  cursor_give(view);
  return view;
}

}  // namespace

extern "C" {
__attribute__((visibility("default"))) ssize_t writev(int file, const iovec *parts, int count) {
  return counted(next<ssize_t(int, const iovec *, int)>("writev")(file, parts, count));
}
__attribute__((visibility("default"))) ssize_t sendmsg(int file, const msghdr *message, int flags) {
  return counted(next<ssize_t(int, const msghdr *, int)>("sendmsg")(file, message, flags));
}
}

int main(int argc, char *argv[]) {
  bench::Options options = bench::options_read(
      argc, argv, "Measures what moving the remote cursor costs in large and small frames.");
  Tcl_Interp *interp = bench::interp_start(argv[0]);
  QomView *small = view_show(interp, ".small", 240, 135);
  QomView *large = view_show(interp, ".large", 1920, 1080);
  options.server = bench::server_clock(large->display);

  bench::Table table(options, "moving a 32x32 cursor in a frame of 1920x1080");
  const std::string yardstick = "the same in a frame of 240x135";
  for (const std::string mode : {"scaled by 2/3", "natural size"}) {
    if (mode == "natural size")
      bench::evaluate(interp,
                      "foreach view {.small.v .large.v} {$view configure -scaling 0}; update");
    const double bytes = bytes_of(move(small));
    std::printf("%s: %.0f bytes a move\n", mode.c_str(), bytes / 2);
    table.row({"bytes sent for a move of the cursor, " + mode, yardstick},
              bytes_of(move(large)) / bytes, bench::at_most(1.05));
    table.row({"CPU of a move of the cursor, " + mode, yardstick},
              bench::cost(move(small), move(large), options), bench::at_most(1.2));
  }
  return table.close();
}
