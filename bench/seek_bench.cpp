/* Moving to any place of a long recording, and the parts of a move. */

#include <zstd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>

#include "bench_view.h"
#include "desktop_recording.h"
#include "display/pipeline.h"
#include "handles.h"
#include "playback/navigation.h"
#include "playback/record_process.h"
#include "playback/stepping.h"
#include "ratio.h"
#include "recording/reader.h"
#include "recording/timeline.h"

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

/* -- the parts -- */

/* The pixels of a blocks record as zstd alone takes them. */
struct Payload {
  std::vector<uint8_t> compressed;
  size_t length; /* decompressed, bytes */
};

std::vector<Payload> payloads(const QomView *view, size_t first, size_t last) {
  std::vector<Payload> result;
  for (size_t i = first; i < last; ++i) {
    if (view->entries[i].type != QOM_COMPRESSED_IMAGE_BLOCKS) continue;
    const RecordHandle<QomRecord> record(record_at_index(view, i));
    const RecordHandle<QomImageBlocks> blocks(qom_image_blocks_uncompress(
        reinterpret_cast<const QomCompressedImageBlocks *>(record.get())));
    Payload payload{std::vector<uint8_t>(ZSTD_compressBound(blocks->length)), blocks->length};
    payload.compressed.resize(ZSTD_compress(payload.compressed.data(), payload.compressed.size(),
                                            blocks->data, blocks->length, ZSTD_CLEVEL_DEFAULT));
    result.push_back(std::move(payload));
  }
  return result;
}

/* Only what cannot be saved: the pixels decompressed, and their rows moved into the frame. */
bench::Work zstd_and_memcpy(const std::vector<Payload> &stretch, std::vector<uint8_t> *buffer,
                            XImage *frame) {
  return [&stretch, buffer, frame] {
    for (const Payload &payload : stretch) {
      buffer->resize(std::max(buffer->size(), payload.length));
      ZSTD_decompress(buffer->data(), payload.length, payload.compressed.data(),
                      payload.compressed.size());
      for (size_t at = 0; at < payload.length;) {
        uint16_t head[4];
        memcpy(head, buffer->data() + at, sizeof head);
        const size_t row = size_t{head[2]} * 4;
        for (size_t y = 0; y < head[3]; ++y)
          memcpy(frame->data + (head[1] + y) * frame->bytes_per_line + size_t{head[0]} * 4,
                 buffer->data() + at + 8 + y * row, row);
        at += 8 + row * head[3];
      }
    }
  };
}

/* A stretch of the length of a key frame's distance, where windows scroll. */
void apply_row(bench::Table *table, const bench::Options &options, QomView *view) {
  const size_t first = index_of_frame(view, 100);
  const size_t last = index_of_frame(view, 300);
  const std::vector<Payload> stretch = payloads(view, first, last);
  std::vector<uint8_t> buffer;
  XImage *frame = view->ximage;
  const double cost = bench::cost(
      zstd_and_memcpy(stretch, &buffer, frame), [&] { consume_records(view, first, last); },
      options);
  table->row("applying 20 s: zstd and memcpy / all of it", 1 / cost, bench::at_least(0.7));
}

void dump_row(bench::Table *table, const bench::Options &options, Tcl_Interp *interp,
              QomView *view) {
  const XImage *image = view->ximage;
  std::vector<char> text(static_cast<size_t>(image->width * 8 + 1) * image->height);
  const auto plainly = [&] {
    char *to = text.data();
    for (int y = 0; y < image->height; ++y) {
      const auto *row = reinterpret_cast<const uint32_t *>(image->data + static_cast<size_t>(y) *
                                                                             image->bytes_per_line);
      for (int x = 0; x < image->width; ++x)
        for (int shift = 28; shift >= 0; shift -= 4)
          *to++ = "0123456789ABCDEF"[row[x] >> shift & 15];
      *to++ = '\n';
    }
  };
  table->row("dump / formatting loop",
             bench::cost(
                 plainly, [&] { bench::evaluate(interp, ".v dump; list"); }, options),
             bench::at_most(2));
}

/* -- moves -- */

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
  for (int i = 0; i < count; ++i)
    moves.push_back(move(view, random() % (view->number_of_frames + 1)));
  return moves;
}

std::vector<double> cold_moves(Tcl_Interp *interp, const std::string &file, int count) {
  std::mt19937 random(5);
  std::vector<double> moves;
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
  const bench::Options options = bench::options_read(
      argc, argv,
      "Moves in a recording of eight hours, which takes a few minutes to write to /tmp.");
  Tcl_Interp *interp = bench::interp_start(argv[0]);
  const std::string file = "/tmp/seek_bench." + std::to_string(getpid()) + ".qom";
  const std::string plain = file + ".plain";
  recordings_write(file, plain);

  bench::Table table("moves: their parts");
  QomView *view = bench::view_show(interp, plain, 1920, 1080);
  apply_row(&table, options, view);
  dump_row(&table, options, interp, view);

  const double linear = pass(view);
  std::printf(
      "\nmoves of %d hours of text, 1920x1080 (CPU time), as a part of replaying all: %.1f s\n",
      kHours, linear);
  moves_print("passed before, no checkpoints", random_moves(view, kMoves), linear);
  bench::evaluate(interp, "destroy .v");
  moves_print("a fresh view each, with checkpoints", cold_moves(interp, file, kColdMoves), linear);
  view = bench::view_show(interp, file, 1920, 1080);
  pass(view);
  moves_print("passed before, with checkpoints", random_moves(view, kMoves), linear);
  std::printf("\n");
  unlink(file.c_str());
  unlink(plain.c_str());
  return table.close();
}
