/* Applying the records of a move, and dumping the picture that it leads to. */

#include <zstd.h>

#include <algorithm>
#include <cstring>

#include "bench_view.h"
#include "desktop_recording.h"
#include "handles.h"
#include "ratio.h"
#include "recording/reader.h"
#include "recording/timeline.h"

namespace {

constexpr int kPictures = 400;

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
      zstd_and_memcpy(stretch, &buffer, frame),
      [&] {
        qom_screen_set_place(view->screen, first);
        qom_screen_apply(view->screen, last);
      },
      options);
  table->row({"speed of applying 20 s of records", "zstd and memcpy alone"}, 1 / cost,
             bench::at_least(0.7));
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
  table->row({"dump of 1920x1080", "formatting loop"},
             bench::cost(
                 plainly, [&] { bench::evaluate(interp, ".v dump; list"); }, options),
             bench::at_most(2));
}

}  // namespace

int main(int argc, char *argv[]) {
  const bench::Options options =
      bench::options_read(argc, argv, "The records of a move applied, and the picture dumped.");
  Tcl_Interp *interp = bench::interp_start(argv[0]);
  const std::string file = bench::temporary_recording();
  {
    bench::DesktopRecording recording(bench::Activity::day, file);
    for (int i = 1; i < kPictures; ++i) recording.next();
  }
  QomView *view = bench::view_show(interp, file, 1920, 1080);
  bench::Table table(options, "parts of a move");
  apply_row(&table, options, view);
  dump_row(&table, options, interp, view);
  return table.close();
}
