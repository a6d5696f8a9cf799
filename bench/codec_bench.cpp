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

#include "desktop_content.h"
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

using bench::Area;

QomImage image_of(bench::Desktop *desktop) {
  QomImage image = {};
  image.type = QOM_IMAGE;
  image.width = width;
  image.height = height;
  image.pixel_format = xRGB8888;
  image.scanline_pad = 32;
  image.bytes_per_line = width * 4;
  image.length = image.bytes_per_line * height;
  image.data = desktop->data();
  return image;
}

/* The data of an image blocks record with this part of the screen. */
std::vector<uint8_t> block_of(const bench::Desktop &desktop, const Area &part) {
  std::vector<uint8_t> data;
  const auto add = [&data](const void *bytes, size_t length) {
    auto from = static_cast<const uint8_t *>(bytes);
    data.insert(data.end(), from, from + length);
  };
  for (const int number : {part.x, part.y, part.width, part.height}) add(&number, 2);
  for (int y = part.y; y < part.y + part.height; ++y)
    add(desktop.pixels() + ptrdiff_t{y} * width + part.x, static_cast<size_t>(part.width) * 4);
  return data;
}

struct Payload {
  std::string name;
  std::vector<uint8_t> raw;
};

void print_row(const std::string &name, const std::string &level, size_t raw, size_t stored,
               const std::vector<double> &cost) {
  std::printf("%-28s %5s %10zu %8.1f %10.1f %10.2f\n", name.c_str(), level.c_str(), stored,
              static_cast<double>(raw) / static_cast<double>(stored), cost[0], cost[1]);
  static_cast<void>(std::fflush(stdout));
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

void measure_uncompress(bench::Table *table, const char *name, const QomImage &image,
                        const bench::Options &options) {
  QomCompressedImage *packed = qom_image_compress(&image);
  check(packed, "cannot compress");
  /* The yardstick: the same pixels as zstd alone stores them. */
  std::vector<uint8_t> stored(ZSTD_compressBound(image.length));
  const size_t length = ZSTD_compress(stored.data(), stored.size(), image.data, image.length, 5);
  ZSTD_DCtx *context = ZSTD_createDCtx();
  const bench::Work bare = [&] {
    void *buffer = std::malloc(image.length);
    ZSTD_decompressDCtx(context, buffer, image.length, stored.data(), length);
    std::free(buffer);
  };
  const bench::Work library = [&] { qom_record_free(qom_image_uncompress(packed)); };
  table->row(
      {std::string("speed of qom_image_uncompress, ") + name, "zstd into an allocated buffer"},
      1 / bench::cost(bare, library, options), bench::at_least(0.9));
  ZSTD_freeDCtx(context);
  qom_record_free(packed);
}

}  // namespace

int main(int argc, char *argv[]) {
  const bench::Options options = bench::options_read(
      argc, argv, "Compression of generated desktop content, against copying it.");
  bench::Desktop text(width, height, 1);
  const Area line = text.type(1);
  const Area window = text.scroll(2, 3);
  bench::Desktop photo(width, height, 1);
  photo.film({0, 0, width, height}, 1);

  std::puts(
      "Compression: bytes, raw / compressed, and costs as multiples of copying the raw bytes");
  std::printf("%-28s %5s %10s %8s %10s %10s\n", "", "level", "bytes", "ratio", "compress",
              "decompress");
  const std::pair<std::string, QomImage> pictures[] = {{"full picture, text", image_of(&text)},
                                                       {"full picture, photo", image_of(&photo)}};
  for (const auto &[name, image] : pictures) {
    measure_levels({name, {image.data, image.data + image.length}}, options);
    measure_library(name, image, qom_image_compress, qom_image_uncompress, options);
  }
  const Payload payloads[] = {{"blocks, a typed line", block_of(text, line)},
                              {"blocks, scrolling text", block_of(text, window)},
                              {"blocks, video", block_of(photo, {600, 300, 640, 360})}};
  for (const Payload &payload : payloads) {
    measure_levels(payload, options);
    const QomImageBlocks blocks = {QOM_IMAGE_BLOCKS, 0, static_cast<uint32_t>(payload.raw.size()),
                                   const_cast<uint8_t *>(payload.raw.data())};
    measure_library(payload.name, blocks, qom_image_blocks_compress, qom_image_blocks_uncompress,
                    options);
  }

  bench::Table table(options, "Decompressing a picture of 1920x1080");
  measure_uncompress(&table, "text", image_of(&text), options);
  measure_uncompress(&table, "photo", image_of(&photo), options);
  return table.close();
}
