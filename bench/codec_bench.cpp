/*
 * What compression of desktop content costs and saves: full pictures and rectangles of text and
 * of photographs, at several levels of zstd, and what the library makes of them.
 */
#include <zstd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "desktop.h"
#include "qom/writer.h"
#include "ratio.h"

namespace {

constexpr uint16_t width = 1920;
constexpr uint16_t height = 1080;

void check(bool good, const char *what) {
  if (good) return;
  std::fprintf(stderr, "%s: %s\n", what, qom_reader_error());
  std::exit(1);
}

/* The lines that a typed character, scrolling text or a playing video change in one frame. */
std::vector<bench::Rectangle> typing() {
  return {{24, 500, 400, 16}, {424, 500, 8, 16}, {432, 500, 2, 16}};
}
std::vector<bench::Rectangle> scrolling() {
  return {{20, 78, width / 2 - 30, height - 130}, {width - 20, 120, 8, 700}};
}
std::vector<bench::Rectangle> video() {
  return {{600, 300, 640, 360}};
}

struct Payload {
  std::string name;
  std::vector<uint8_t> raw;
};

void print_row(const std::string &name, const std::string &level, size_t raw, size_t stored,
               const std::vector<double> &cost) {
  std::printf("%-28s %5s %10zu %8.1f %10.1f %10.2f\n", name.c_str(), level.c_str(), stored,
              static_cast<double>(raw) / static_cast<double>(stored), cost[0], cost[1]);
  std::fflush(stdout);
}

/* Sizes and costs of one payload by level; a cost is a multiple of copying it. */
void measure_levels(const Payload &payload, const bench::Options &options) {
  const std::vector<uint8_t> &raw = payload.raw;
  std::vector<uint8_t> copy(raw.size());
  const bench::Work memory_copy = [&] { std::memcpy(copy.data(), raw.data(), raw.size()); };
  std::vector<uint8_t> stored(ZSTD_compressBound(raw.size()));
  ZSTD_CCtx *packer = ZSTD_createCCtx();
  ZSTD_DCtx *unpacker = ZSTD_createDCtx();
  for (const int level : {1, 3, 5}) {
    size_t length = 0;
    const bench::Work pack = [&] {
      length =
          ZSTD_compressCCtx(packer, stored.data(), stored.size(), raw.data(), raw.size(), level);
    };
    const bench::Work unpack = [&] {
      ZSTD_decompressDCtx(unpacker, copy.data(), copy.size(), stored.data(), length);
    };
    const auto cost = bench::costs(memory_copy, {pack, unpack}, options);
    print_row(payload.name, std::to_string(level), raw.size(), length, cost);
  }
  ZSTD_freeCCtx(packer);
  ZSTD_freeDCtx(unpacker);
}

/* What the library makes of it: its own choice of level and codec. */
template <typename Plain, typename Packed>
void measure_library(const std::string &name, const Plain &plain,
                     Packed *(*compress)(const Plain *), Plain *(*uncompress)(const Packed *),
                     const bench::Options &options) {
  std::vector<uint8_t> copy(plain.length);
  Packed *packed = compress(&plain);
  check(packed, "cannot compress");
  const auto cost = bench::costs(
      [&] { std::memcpy(copy.data(), plain.data, plain.length); },
      {[&] { qom_record_free(compress(&plain)); }, [&] { qom_record_free(uncompress(packed)); }},
      options);
  print_row(name, "own", plain.length, packed->compressed_length, cost);
  qom_record_free(packed);
}

void measure_uncompress(bench::Table *table, const char *name, const bench::Picture &picture,
                        const bench::Options &options) {
  const QomImage image = picture.image();
  QomCompressedImage *packed = qom_image_compress(&image);
  check(packed, "cannot compress");
  ZSTD_DCtx *context = ZSTD_createDCtx();
  const bench::Work bare = [&] {
    void *buffer = std::malloc(image.length);
    ZSTD_decompressDCtx(context, buffer, image.length, packed->data + 1,
                        packed->compressed_length - 1);
    std::free(buffer);
  };
  const bench::Work library = [&] { qom_record_free(qom_image_uncompress(packed)); };
  table->row(name, 1 / bench::cost(bare, library, options), bench::at_least(0.9));
  ZSTD_freeDCtx(context);
  qom_record_free(packed);
}

}  // namespace

int main(int argc, char *argv[]) {
  const bench::Options options = bench::options_read(
      argc, argv, "Compression of generated desktop content, against copying it.");
  const bench::Picture text = bench::text_desktop(width, height, 1);
  const bench::Picture photo = bench::photo(width, height, 1);

  std::puts(
      "Compression: bytes, raw / compressed, and costs as multiples of copying the raw bytes");
  std::printf("%-28s %5s %10s %8s %10s %10s\n", "", "level", "bytes", "ratio", "compress",
              "decompress");
  const std::pair<std::string, QomImage> pictures[] = {{"full picture, text", text.image()},
                                                       {"full picture, photo", photo.image()}};
  for (const auto &[name, image] : pictures) {
    measure_levels({name, {image.data, image.data + image.length}}, options);
    measure_library(name, image, qom_image_compress, qom_image_uncompress, options);
  }
  const Payload payloads[] = {{"blocks, typing", bench::blocks_of(text, typing())},
                              {"blocks, scrolling text", bench::blocks_of(text, scrolling())},
                              {"blocks, video", bench::blocks_of(photo, video())}};
  for (const Payload &payload : payloads) {
    measure_levels(payload, options);
    const QomImageBlocks blocks = {QOM_IMAGE_BLOCKS, 0, static_cast<uint32_t>(payload.raw.size()),
                                   const_cast<uint8_t *>(payload.raw.data())};
    measure_library(payload.name, blocks, qom_image_blocks_compress, qom_image_blocks_uncompress,
                    options);
  }

  bench::Table table(
      "qom_image_uncompress, 1920x1080: speed, of bare zstd into an allocated buffer");
  measure_uncompress(&table, "text", text, options);
  measure_uncompress(&table, "photo", photo, options);
  return table.close();
}
