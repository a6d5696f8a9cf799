#include "bench_view.h"

#include <qom/writer.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "handles.h"
#include "widget/package.h"

Tcl_Interp *interp_with_tk(const char *program);

namespace bench {

namespace {

std::vector<std::string> recordings; /* paths of those written */

void recordings_remove() {
  for (const std::string &path : recordings) unlink(path.c_str());
}

[[noreturn]] void fail(const std::string &why) {
  fprintf(stderr, "%s\n", why.c_str());
  exit(1);
}

}  // namespace

Tcl_Interp *interp_start(const char *program) {
  Tcl_Interp *interp = interp_with_tk(program);
  if (!interp || Qomtcl_Init(interp) != TCL_OK) fail("no display, or Tcl and Tk are not installed");
  return interp;
}

std::string evaluate(Tcl_Interp *interp, const std::string &script) {
  if (Tcl_EvalEx(interp, script.c_str(), -1, TCL_EVAL_GLOBAL) != TCL_OK)
    fail(Tcl_GetStringResult(interp));
  return Tcl_GetStringResult(interp);
}

std::string temporary_recording() {
  if (recordings.empty() && atexit(recordings_remove) != 0) fail("cannot register a function");
  recordings.push_back("/tmp/bench_view." + std::to_string(getpid()) + "." +
                       std::to_string(recordings.size()) + ".qom");
  return recordings.back();
}

std::string picture_recording(int width, int height) {
  std::vector<uint32_t> pixels(static_cast<size_t>(width) * height);
  for (size_t i = 0; i < pixels.size(); ++i)
    pixels[i] = static_cast<uint32_t>(i / 7 * 2654435761u) & 0xffffff;
  QomHeader header{};
  header.depth = 24;
  header.width = static_cast<uint16_t>(width);
  header.height = static_cast<uint16_t>(height);
  header.pixel_format = xRGB8888;
  header.scanline_pad = 32;
  QomImage image{};
  image.type = QOM_IMAGE;
  image.width = header.width;
  image.height = header.height;
  image.pixel_format = header.pixel_format;
  image.scanline_pad = header.scanline_pad;
  image.bytes_per_line = static_cast<uint32_t>(width) * 4;
  image.length = image.bytes_per_line * image.height;
  image.data = reinterpret_cast<uint8_t *>(pixels.data());
  std::string path = temporary_recording();
  QomWriter *writer = qom_writer_create(path.c_str(), &header);
  const RecordHandle<QomCompressedImage> compressed(qom_image_compress(&image));
  const bool written = writer && compressed && qom_writer_append(writer, compressed.get()) == 0;
  if (qom_writer_close(writer) != 0 || !written) fail(qom_reader_error());
  return path;
}

QomView *view_show(Tcl_Interp *interp, const std::string &file, int width, int height) {
  const std::string size = std::to_string(width) + "x" + std::to_string(height);
  evaluate(interp, "pack [::qom::view .v " + file + "] -fill both -expand 1");
  evaluate(interp, "wm geometry . " + size + "+0+0; tkwait visibility .v; update");
  Tcl_CmdInfo info{};
  Tcl_GetCommandInfo(interp, ".v", &info);
  return static_cast<QomView *>(info.objClientData);
}

clockid_t server_clock(Display *display) {
  ucred server{};
  socklen_t length = sizeof server;
  clockid_t clock = CLOCK_MONOTONIC;
  if (getsockopt(ConnectionNumber(display), SOL_SOCKET, SO_PEERCRED, &server, &length) != 0 ||
      clock_getcpuclockid(server.pid, &clock) != 0)
    fail("the CPU time of the X server cannot be read");
  return clock;
}

}  // namespace bench
