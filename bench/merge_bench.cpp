/* How fast the merge functions are, beside memcpy and pixman. */
#include <pixman.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "pixels/channels.h"
#include "display/merge.h"
#include "display/pixel_format.h"
#include "ratio.h"

namespace {

constexpr int width = 1920;
constexpr int height = 1080;

struct PixmanUnref {
  void operator()(pixman_image_t *image) const { pixman_image_unref(image); }
};
using PixmanImage = std::unique_ptr<pixman_image_t, PixmanUnref>;

struct Conversion {
  PixelFormat from;
  PixelFormat to;
};

/* One pair for each of the functions. */
constexpr Conversion conversions[] = {
    {PALETTE8, xRGB8888}, {PALETTE8, xBGR8888}, {RGB332, xRGB8888},   {RGB332, xBGR8888},
    {BGR233, xRGB8888},   {BGR233, xBGR8888},   {RGB565, xRGB8888},   {RGB565, xBGR8888},
    {BGR565, xRGB8888},   {BGR565, xBGR8888},   {RGB565, RGB565},     {RGB565, BGR565},
    {xRGB8888, RGB565},   {xRGB8888, BGR565},   {xBGR8888, RGB565},   {xBGR8888, BGR565},
    {xRGB8888, xRGB8888}, {xRGB8888, xBGR8888}, {RGBx8888, xRGB8888}, {RGBx8888, xBGR8888}};

int bytes(PixelFormat format) {
  return static_cast<int>(qom::pixel::layouts[format].bits_per_pixel / 8);
}

double goal(Conversion conversion) {
  const int from = bytes(conversion.from), to = bytes(conversion.to);
  if (from == to) return 0.90;
  return from == 1 ? 0.35 : from == 2 ? 0.60 : 0.80;
}

std::vector<uint32_t> random_pixels(PixelFormat format) {
  static std::mt19937 random_number;
  std::vector<uint32_t> pixels(width * height * bytes(format) / 4);
  std::generate(pixels.begin(), pixels.end(), random_number);
  return pixels;
}

/* The colours of the palette as pixman wants them. */
const pixman_indexed_t *pixman_palette() {
  static pixman_indexed_t indexed = {};
  indexed.color = 1;
  std::copy_n(palette_pixels(xRGB8888), palette_capacity, indexed.rgba);
  return &indexed;
}

PixmanImage pixman_image(PixelFormat format, std::vector<uint32_t> &pixels) {
  pixman_image_t *image = pixman_image_create_bits(pixman_format_from_qom_format(format), width,
                                                   height, pixels.data(), width * bytes(format));
  if (format == PALETTE8) pixman_image_set_indexed(image, pixman_palette());
  return PixmanImage(image);
}

void measure(Conversion conversion, const bench::Options &options, bench::Table &table) {
  std::vector<uint32_t> source = random_pixels(conversion.from);
  std::vector<uint32_t> target = random_pixels(conversion.to);
  std::vector<uint32_t> read((source.size() + target.size()) / 2), written(read.size());

  QomImage from = {};
  from.type = QOM_IMAGE;
  from.width = width;
  from.height = height;
  from.data = reinterpret_cast<uint8_t *>(source.data());
  XImage to = {};
  to.width = width;
  to.height = height;
  to.bytes_per_line = width * bytes(conversion.to);
  to.data = reinterpret_cast<char *>(target.data());
  to.red_mask = qom::pixel::mask(qom::pixel::layouts[conversion.to].red);
  to.green_mask = qom::pixel::mask(qom::pixel::layouts[conversion.to].green);
  to.blue_mask = qom::pixel::mask(qom::pixel::layouts[conversion.to].blue);

  const MergeFunction merge = merge_define(conversion.from, conversion.to);
  const PixmanImage pixman_from = pixman_image(conversion.from, source);
  const PixmanImage pixman_to = pixman_image(conversion.to, target);
  const std::vector<double> costs = bench::costs(
      [&] { std::memcpy(written.data(), read.data(), read.size() * sizeof(uint32_t)); },
      {[&] { merge(&from, &to); },
       [&] {
         pixman_image_composite(PIXMAN_OP_SRC, pixman_from.get(), nullptr, pixman_to.get(), 0, 0, 0,
                                0, 0, 0, width, height);
       }},
      options);

  const std::string name = std::string("speed of merging ") + pixel_format_string(conversion.from) +
                           " into " + pixel_format_string(conversion.to);
  table.row({name, "memcpy of the bytes read and written"}, 1 / costs[0],
            bench::at_least(goal(conversion)), 1 / costs[1]);
}

void palette_fill() {
  std::vector<RgbValue> colours(palette_capacity);
  for (uint16_t i = 0; RgbValue & colour : colours) colour = {i, ++i, i, 0};
  QomHeader header = {};
  header.palette_size = static_cast<uint16_t>(colours.size());
  header.palette = colours.data();
  palette_set(&header);
}

}  // namespace

int main(int argc, char *argv[]) {
  bench::Options options = bench::options_read(
      argc, argv,
      "Measures the merge functions on random pixels of a frame of 1920x1080, found in memory.");
  options.before = bench::caches_flush;
  scanline_pad = 32;
  palette_fill();
  bench::Table table(options, "Merging 1920x1080 pixels", "pixman");
  for (const Conversion conversion : conversions) measure(conversion, options, table);
  return table.close();
}
