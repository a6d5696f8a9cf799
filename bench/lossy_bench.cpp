/*
 * What a still of a film takes with codecs that are lossy, at equal quality: bytes, packing and
 * unpacking, each over what the exact codec takes. `ffmpeg` makes two of the pictures.
 */
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <jpeglib.h>
#include <webp/decode.h>
#include <webp/encode.h>

#include "desktop_content.h"
#include "qom/writer.h"
#include "ratio.h"

namespace {

constexpr int width = 640;
constexpr int height = 360;
constexpr size_t row_bytes = size_t{4} * width;

using Bytes = std::vector<uint8_t>;

void check(bool good, const char *what) {
  if (good) return;
  std::fprintf(stderr, "%s\n", what);
  std::exit(1);
}

// --- pictures: rows of blue, green, red and a byte of nothing --------------------------------

Bytes film_picture() {
  bench::Desktop desktop(width, height, 1);
  desktop.film({0, 0, width, height}, 1);
  return {desktop.data(), desktop.data() + row_bytes * height};
}

Bytes made_picture(const std::string &source) {
  const std::string command = "ffmpeg -loglevel error -f lavfi -i " + source +
                              "=size=640x360:rate=5 -vf trim=start=6 -frames:v 1 -f rawvideo "
                              "-pix_fmt bgr0 -";
  FILE *pipe = popen(command.c_str(), "r");
  Bytes picture(row_bytes * height);
  check(pipe && std::fread(picture.data(), 1, picture.size(), pipe) == picture.size(),
        "no picture from ffmpeg");
  pclose(pipe);
  return picture;
}

// --- codecs ----------------------------------------------------------------------------------

struct Codec {
  const char *name;
  std::function<Bytes(const Bytes &picture, int quality)> pack;
  std::function<Bytes(const Bytes &packed)> unpack;
};

Bytes pack_jpeg(const Bytes &picture, int quality, int sampling) {
  jpeg_compress_struct codec;
  jpeg_error_mgr errors;
  codec.err = jpeg_std_error(&errors);
  jpeg_create_compress(&codec);
  unsigned char *bytes = nullptr;
  unsigned long length = 0;
  jpeg_mem_dest(&codec, &bytes, &length);
  codec.image_width = width;
  codec.image_height = height;
  codec.input_components = 4;
  codec.in_color_space = JCS_EXT_BGRX;
  jpeg_set_defaults(&codec);
  jpeg_set_quality(&codec, quality, TRUE);
  codec.comp_info[0].h_samp_factor = codec.comp_info[0].v_samp_factor = sampling;
  jpeg_start_compress(&codec, TRUE);
  while (codec.next_scanline < codec.image_height) {
    JSAMPROW row = const_cast<uint8_t *>(picture.data()) + codec.next_scanline * row_bytes;
    jpeg_write_scanlines(&codec, &row, 1);
  }
  jpeg_finish_compress(&codec);
  jpeg_destroy_compress(&codec);
  Bytes packed(bytes, bytes + length);
  std::free(bytes);
  return packed;
}

Bytes unpack_jpeg(const Bytes &packed) {
  jpeg_decompress_struct codec;
  jpeg_error_mgr errors;
  codec.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&codec);
  jpeg_mem_src(&codec, packed.data(), packed.size());
  jpeg_read_header(&codec, TRUE);
  codec.out_color_space = JCS_EXT_BGRX;
  codec.do_fancy_upsampling = FALSE;
  jpeg_start_decompress(&codec);
  Bytes picture(row_bytes * height);
  while (codec.output_scanline < codec.output_height) {
    JSAMPROW row = picture.data() + codec.output_scanline * row_bytes;
    jpeg_read_scanlines(&codec, &row, 1);
  }
  jpeg_finish_decompress(&codec);
  jpeg_destroy_decompress(&codec);
  return picture;
}

Bytes pack_webp(const Bytes &source, int quality, int method) {
  WebPConfig config;
  WebPPicture picture;
  WebPMemoryWriter writer;
  check(WebPConfigInit(&config) && WebPPictureInit(&picture), "no WebP");
  config.quality = static_cast<float>(quality);
  config.method = method;
  picture.width = width;
  picture.height = height;
  check(WebPPictureImportBGRX(&picture, source.data(), row_bytes), "no WebP picture");
  WebPMemoryWriterInit(&writer);
  picture.writer = WebPMemoryWrite;
  picture.custom_ptr = &writer;
  check(WebPEncode(&config, &picture), "cannot encode WebP");
  Bytes packed(writer.mem, writer.mem + writer.size);
  WebPMemoryWriterClear(&writer);
  WebPPictureFree(&picture);
  return packed;
}

Bytes unpack_webp(const Bytes &packed) {
  Bytes picture(row_bytes * height);
  check(WebPDecodeBGRAInto(packed.data(), packed.size(), picture.data(), picture.size(), row_bytes),
        "cannot decode WebP");
  return picture;
}

// --- quality ---------------------------------------------------------------------------------

std::vector<double> luma(const Bytes &picture) {
  std::vector<double> light(size_t{width} * height);
  for (size_t i = 0; i < light.size(); ++i)
    light[i] = .114 * picture[4 * i] + .587 * picture[4 * i + 1] + .299 * picture[4 * i + 2];
  return light;
}

// Peak signal to noise ratio of the light, dB.
double psnr(const Bytes &a, const Bytes &b) {
  const std::vector<double> one = luma(a);
  const std::vector<double> other = luma(b);
  double sum = 0;
  for (size_t i = 0; i < one.size(); ++i) sum += (one[i] - other[i]) * (one[i] - other[i]);
  return 10 * std::log10(255 * 255 / (sum / static_cast<double>(one.size())));
}

// Structural similarity of the light, the mean over squares of 8 pixels.
double ssim(const Bytes &a, const Bytes &b) {
  const std::vector<double> one = luma(a);
  const std::vector<double> other = luma(b);
  double sum = 0;
  for (int top = 0; top < height; top += 8)
    for (int left = 0; left < width; left += 8) {
      double x = 0, y = 0, xx = 0, yy = 0, xy = 0;
      for (int i = 0; i < 64; ++i) {
        const size_t at = size_t{static_cast<unsigned>(top + i / 8)} * width +
                          static_cast<unsigned>(left + i % 8);
        x += one[at] / 64;
        y += other[at] / 64;
        xx += one[at] * one[at] / 64;
        yy += other[at] * other[at] / 64;
        xy += one[at] * other[at] / 64;
      }
      sum += (2 * x * y + 6.5025) * (2 * (xy - x * y) + 58.5225) /
             ((x * x + y * y + 6.5025) * (xx - x * x + yy - y * y + 58.5225));
    }
  return sum * 64 / (width * height);
}

// The smallest quality whose picture is no worse than `wanted` dB.
int quality_for(const Codec &codec, const Bytes &picture, double wanted) {
  int low = 1;
  int high = 100;
  while (low < high) {
    const int middle = (low + high) / 2;
    if (psnr(picture, codec.unpack(codec.pack(picture, middle))) >= wanted)
      high = middle;
    else
      low = middle + 1;
  }
  return low;
}

// --- figures ---------------------------------------------------------------------------------

Bytes blocks_of(const Bytes &picture) {
  const uint16_t head[] = {0, 0, width, height};
  Bytes blocks(sizeof head);
  std::memcpy(blocks.data(), head, sizeof head);
  blocks.insert(blocks.end(), picture.begin(), picture.end());
  return blocks;
}

void measure(const char *name, const Bytes &picture, const bench::Options &options) {
  static const Codec codecs[] = {
      {"JPEG 4:2:0", [](const Bytes &p, int q) { return pack_jpeg(p, q, 2); }, unpack_jpeg},
      {"JPEG 4:4:4", [](const Bytes &p, int q) { return pack_jpeg(p, q, 1); }, unpack_jpeg},
      {"WebP, method 0", [](const Bytes &p, int q) { return pack_webp(p, q, 0); }, unpack_webp},
      {"WebP, method 2", [](const Bytes &p, int q) { return pack_webp(p, q, 2); }, unpack_webp},
  };
  const Bytes blocks = blocks_of(picture);
  const QomImageBlocks plain = {QOM_IMAGE_BLOCKS, 0, static_cast<uint32_t>(blocks.size()),
                                const_cast<uint8_t *>(blocks.data())};
  QomCompressedImageBlocks *exact = qom_image_blocks_compress(&plain);
  check(exact, "cannot compress");
  const bench::Work pack_exact = [&] { qom_record_free(qom_image_blocks_compress(&plain)); };
  const bench::Work unpack_exact = [&] { qom_record_free(qom_image_blocks_uncompress(exact)); };
  for (const int level : {50, 75, 90}) {
    const double wanted = psnr(picture, codecs[0].unpack(codecs[0].pack(picture, level)));
    for (const Codec &codec : codecs) {
      const int quality = quality_for(codec, picture, wanted);
      const Bytes packed = codec.pack(picture, quality);
      const Bytes back = codec.unpack(packed);
      const double packing = bench::cost(
          pack_exact, [&] { codec.pack(picture, quality); }, options);
      const double unpacking = bench::cost(
          unpack_exact, [&] { codec.unpack(packed); }, options);
      std::printf("%-12s %-15s %4d %6.1f %6.3f %9zu %8.4f %8.2f %8.2f\n", name, codec.name, quality,
                  psnr(picture, back), ssim(picture, back), packed.size(),
                  static_cast<double>(packed.size()) / exact->compressed_length, packing,
                  unpacking);
      static_cast<void>(std::fflush(stdout));
    }
  }
  qom_record_free(exact);
}

}  // namespace

int main(int argc, char *argv[]) {
  const bench::Options options = bench::options_read(
      argc, argv, "Lossy codecs on pictures of films, at equal quality, against the exact one.");
  std::printf("%-12s %-15s %4s %6s %6s %9s %8s %8s %8s\n", "640x360", "codec", "q", "dB", "SSIM",
              "bytes", "of exact", "pack", "unpack");
  measure("film, noise", film_picture(), options);
  measure("mandelbrot", made_picture("mandelbrot"), options);
  measure("test card", made_picture("testsrc2"), options);
  return 0;
}
