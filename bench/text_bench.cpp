/*
 * What full pictures of text take, beside WebP without losses at its sixth level: bytes, packing
 * and unpacking. The pictures are PNG files; bench/text_bench.sh makes some.
 */
#include <png.h>
#include <webp/encode.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "qom/writer.h"
#include "ratio.h"

namespace {

void check(bool good, const std::string &what) {
  if (good) return;
  std::fprintf(stderr, "text_bench: %s\n", what.c_str());
  std::exit(1);
}

struct Picture {
  std::string name;
  uint16_t width;
  uint16_t height;
  std::vector<uint8_t> pixels; /* blue, green, red and a byte of nothing */

  double megapixels() const { return width * height / 1e6; }
  QomImage image() const {
    QomImage image = {};
    image.type = QOM_IMAGE;
    image.width = width;
    image.height = height;
    image.pixel_format = xRGB8888;
    image.scanline_pad = 32;
    image.bytes_per_line = width * 4u;
    image.length = image.bytes_per_line * height;
    image.data = const_cast<uint8_t *>(pixels.data());
    return image;
  }
};

Picture read_picture(const std::string &path) {
  png_image png = {};
  png.version = PNG_IMAGE_VERSION;
  check(png_image_begin_read_from_file(&png, path.c_str()), path + ": " + png.message);
  png.format = PNG_FORMAT_BGRA;
  Picture picture = {std::filesystem::path(path).stem(), static_cast<uint16_t>(png.width),
                     static_cast<uint16_t>(png.height), std::vector<uint8_t>(PNG_IMAGE_SIZE(png))};
  check(png_image_finish_read(&png, nullptr, picture.pixels.data(), 0, nullptr), path);
  for (size_t i = 3; i < picture.pixels.size(); i += 4) picture.pixels[i] = 0;
  return picture;
}

/* The same as cwebp -lossless -z 6. */
size_t webp_bytes(const Picture &picture) {
  WebPConfig config;
  WebPPicture webp;
  WebPMemoryWriter writer;
  check(WebPConfigInit(&config) && WebPConfigLosslessPreset(&config, 6) && WebPPictureInit(&webp),
        "another version of WebP");
  webp.width = picture.width;
  webp.height = picture.height;
  webp.use_argb = 1;
  WebPMemoryWriterInit(&writer);
  webp.writer = WebPMemoryWrite;
  webp.custom_ptr = &writer;
  check(WebPPictureImportBGRX(&webp, picture.pixels.data(), 4 * picture.width) &&
            WebPEncode(&config, &webp),
        picture.name + ": WebP refuses it");
  const size_t bytes = writer.size;
  WebPMemoryWriterClear(&writer);
  WebPPictureFree(&webp);
  return bytes;
}

/* CPU seconds, the least of several runs. */
double seconds(const bench::Work &work, int repetitions) {
  double least = 1e9;
  for (int i = 0; i < repetitions; ++i) {
    timespec from, to;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &from);
    work();
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &to);
    least = std::min(least, static_cast<double>(to.tv_sec - from.tv_sec) +
                                static_cast<double>(to.tv_nsec - from.tv_nsec) / 1e9);
  }
  return least;
}

}  // namespace

int main(int argc, char *argv[]) {
  int files = argc;
  for (int i = 1; i < argc; ++i)
    if (argv[i][0] != '-' && std::filesystem::path(argv[i]).extension() == ".png") {
      files = i;
      break;
    }
  const bench::Options options =
      bench::options_read(files, argv, "Full pictures of text (PNG files, behind the options).");
  bench::Table table(options, "Full pictures of text");
  double pixels = 0, packing = 0, unpacking = 0;
  size_t all = 0, all_webp = 0;
  for (int i = files; i < argc; ++i) {
    const Picture picture = read_picture(argv[i]);
    const QomImage image = picture.image();
    QomCompressedImage *packed = qom_image_compress(&image);
    check(packed, "cannot compress");
    const size_t bytes = packed->compressed_length;
    const size_t webp = webp_bytes(picture);
    table.row({"bytes of a picture, " + picture.name, "WebP lossless, level 6"},
              static_cast<double>(bytes) / static_cast<double>(webp), bench::at_most(1));
    all += bytes;
    all_webp += webp;
    pixels += picture.megapixels();
    packing += seconds([&] { qom_record_free(qom_image_compress(&image)); }, options.repetitions);
    unpacking +=
        seconds([&] { qom_record_free(qom_image_uncompress(packed)); }, options.repetitions);
    qom_record_free(packed);
  }
  check(pixels > 0, "no pictures");
  table.row({"bytes of all of them", "WebP lossless, level 6"},
            static_cast<double>(all) / static_cast<double>(all_webp), bench::at_most(1));
  table.row({"million pixels of text packed in a second of CPU", ""}, pixels / packing,
            bench::at_least(90));
  table.row({"million pixels of text unpacked in a second of CPU", ""}, pixels / unpacking,
            bench::at_least(580));
  return table.close();
}
