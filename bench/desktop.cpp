#include "desktop.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <random>
#include <string>

namespace bench {

namespace {

constexpr int glyph_width = 8;
constexpr int glyph_height = 16;
constexpr int glyph_count = 64;

using Glyph = std::array<uint8_t, glyph_width * glyph_height>; /* coverage */

/* The same numbers in every run. */
class Random {
 public:
  explicit Random(uint32_t seed) : engine_(seed) {}
  int below(int end) { return static_cast<int>(engine_() % static_cast<uint32_t>(end)); }
  double unit() { return static_cast<double>(engine_()) / 4294967296.0; }
  double normal() { return normal_(engine_); }

 private:
  std::mt19937 engine_;
  std::normal_distribution<double> normal_;
};

/* Strokes with soft edges, as a rasteriser makes them. */
std::vector<Glyph> make_font() {
  Random random(7);
  std::vector<Glyph> font(glyph_count);
  for (int g = 1; g < glyph_count; ++g)
    for (int stroke = 0; stroke < 3; ++stroke) {
      const double x0 = 1 + random.below(6), x1 = 1 + random.below(6);
      const double y0 = 3 + random.below(10), y1 = 3 + random.below(10);
      for (int step = 0; step <= 40; ++step) {
        const double x = x0 + (x1 - x0) * step / 40, y = y0 + (y1 - y0) * step / 40;
        for (int py = static_cast<int>(y) - 1; py <= static_cast<int>(y) + 1; ++py)
          for (int px = static_cast<int>(x) - 1; px <= static_cast<int>(x) + 1; ++px) {
            if (px < 0 || px >= glyph_width || py < 0 || py >= glyph_height) continue;
            const double far = std::hypot(px - x, py - y);
            uint8_t &cover = font[g][static_cast<size_t>(py * glyph_width + px)];
            cover = std::max(cover, static_cast<uint8_t>(255 * std::clamp(1.3 - far, 0.0, 1.0)));
          }
      }
    }
  return font;
}

/* Words of a vocabulary, the frequent ones far more often than the rest. */
std::string make_line(Random *random, int columns) {
  static const std::vector<std::string> words = [] {
    Random letters(11);
    std::vector<std::string> list(2000);
    for (std::string &word : list)
      for (int i = 1 + letters.below(9); i > 0; --i)
        word += static_cast<char>(1 + letters.below(glyph_count - 1));
    return list;
  }();
  std::string line(static_cast<size_t>(random->below(4) * 4), '\0');
  const auto length = static_cast<size_t>(columns * random->below(100) / 100);
  while (line.size() < length) {
    line += words[static_cast<size_t>(std::pow(2000.0, random->unit())) - 1] + '\0';
  }
  line.resize(std::min(line.size(), static_cast<size_t>(columns)));
  return line;
}

uint32_t blend(uint32_t under, uint32_t over, uint32_t cover) {
  uint32_t pixel = 0;
  for (int shift = 0; shift < 24; shift += 8) {
    const uint32_t a = under >> shift & 255, b = over >> shift & 255;
    pixel |= ((a * (255 - cover) + b * cover) / 255) << shift;
  }
  return pixel;
}

void fill(Picture *picture, const Rectangle &area, uint32_t colour) {
  for (int y = area.y; y < area.y + area.height; ++y)
    std::fill_n(picture->pixels.begin() + y * picture->width + area.x, area.width, colour);
}

void draw_text(Picture *picture, const Rectangle &area, const std::string &text, uint32_t colour) {
  static const std::vector<Glyph> font = make_font();
  for (size_t i = 0; i < text.size(); ++i) {
    const Glyph &glyph = font[static_cast<size_t>(text[i])];
    for (size_t p = 0; p < glyph.size(); ++p) {
      uint32_t &pixel = picture->pixels[(area.y + p / glyph_width) * picture->width + area.x +
                                        i * glyph_width + p % glyph_width];
      pixel = blend(pixel, colour, glyph[p]);
    }
  }
}

void draw_window(Picture *picture, const Rectangle &area, bool dark, Random *random) {
  constexpr uint32_t inks[] = {0, 0, 0, 0x204080, 0x802020, 0x107010};
  fill(picture, area, dark ? 0x1E1E1E : 0xFFFFFF);
  for (uint16_t y = 0; y < 24; ++y) /* a title bar with a gradient */
    fill(picture, {area.x, static_cast<uint16_t>(area.y + y), area.width, 1},
         0x303848 + 0x010101u * y);
  const int columns = (area.width - 8) / glyph_width;
  for (int y = 28; y + glyph_height <= area.height; y += glyph_height) {
    const uint32_t ink = inks[random->below(std::size(inks))];
    draw_text(picture, {static_cast<uint16_t>(area.x + 4), static_cast<uint16_t>(area.y + y), 0, 0},
              make_line(random, columns), dark ? 0xD0D0D0 ^ ink : ink);
  }
}

/* Noise that is smooth over `cell` pixels. */
class SmoothNoise {
 public:
  SmoothNoise(int width, int height, int cell, Random *random)
      : cell_(cell), columns_(width / cell + 2), values_(columns_ * (height / cell + 2)) {
    for (double &value : values_) value = random->unit() - 0.5;
  }

  double at(int x, int y) const {
    const double fx = static_cast<double>(x % cell_) / cell_,
                 fy = static_cast<double>(y % cell_) / cell_;
    const double *v = &values_[static_cast<size_t>(y / cell_ * columns_ + x / cell_)];
    const double top = v[0] + (v[1] - v[0]) * fx;
    const double bottom = v[columns_] + (v[columns_ + 1] - v[columns_]) * fx;
    return top + (bottom - top) * fy;
  }

 private:
  int cell_;
  int columns_;
  std::vector<double> values_;
};

}  // namespace

QomImage Picture::image() const {
  QomImage image = {};
  image.type = QOM_IMAGE;
  image.width = width;
  image.height = height;
  image.pixel_format = xRGB8888;
  image.scanline_pad = 32;
  image.bytes_per_line = width * 4u;
  image.length = image.bytes_per_line * height;
  image.data = reinterpret_cast<uint8_t *>(const_cast<uint32_t *>(pixels.data()));
  return image;
}

Picture text_desktop(uint16_t width, uint16_t height, unsigned seed) {
  Random random(seed);
  Picture picture = {width, height, std::vector<uint32_t>(size_t{width} * height, 0x3A6EA5)};
  fill(&picture, {0, 0, width, 28}, 0xE8E8E8);
  const auto half = static_cast<uint16_t>(width / 2 - 30);
  draw_window(&picture, {20, 50, half, static_cast<uint16_t>(height - 100)}, true, &random);
  draw_window(&picture,
              {static_cast<uint16_t>(half + 40), 80, half, static_cast<uint16_t>(height - 160)},
              false, &random);
  return picture;
}

Picture photo(uint16_t width, uint16_t height, unsigned seed) {
  Random random(seed);
  Picture picture = {width, height, std::vector<uint32_t>(size_t{width} * height)};
  for (int shift = 0; shift < 24; shift += 8) {
    const SmoothNoise coarse(width, height, 220, &random), middle(width, height, 40, &random),
        fine(width, height, 7, &random);
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x) {
        const double value = 128 + 150 * coarse.at(x, y) + 50 * middle.at(x, y) +
                             12 * fine.at(x, y) + 0.45 * random.normal();
        picture.pixels[static_cast<size_t>(y * width + x)] |=
            static_cast<uint32_t>(std::clamp(value, 0.0, 255.0)) << shift;
      }
  }
  return picture;
}

std::vector<uint8_t> blocks_of(const Picture &picture, const std::vector<Rectangle> &parts) {
  std::vector<uint8_t> data;
  const auto add = [&data](const void *bytes, size_t length) {
    auto from = static_cast<const uint8_t *>(bytes);
    data.insert(data.end(), from, from + length);
  };
  for (const Rectangle &part : parts) {
    add(&part, sizeof part);
    for (int y = part.y; y < part.y + part.height; ++y)
      add(&picture.pixels[static_cast<size_t>(y * picture.width + part.x)], part.width * 4u);
  }
  return data;
}

}  // namespace bench
