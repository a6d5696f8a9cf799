#include "desktop_content.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace bench {
namespace {

constexpr int kLetters = 64;
constexpr int kLetterWidth = 8;
constexpr int kLetterHeight = 16;
constexpr int kTitleHeight = 24;

}  // namespace

Desktop::Desktop(int width, int height, unsigned seed)
    : width_(width),
      height_(height),
      random_(seed),
      pixels_(static_cast<size_t>(width) * static_cast<size_t>(height)) {
  /* Strokes: a letter's rows repeat and its sides are empty, as in a fixed-width font. */
  for (int letter = 0; letter < kLetters; ++letter) {
    uint8_t row = 0;
    for (int y = 0; y < kLetterHeight; ++y) {
      if (y < 3 || y > 12)
        row = 0;
      else if (y == 3 || random_() % 3 == 0)
        row = static_cast<uint8_t>(random_() & random_() & 0x7E);
      letters_.push_back(row);
    }
  }
  fill({0, 0, width, height}, 0x203040);
  const uint32_t papers[] = {0xFFFFFF, 0x000000, 0xFFFFDD, 0x1E1E1E};
  const uint32_t inks[] = {0x000000, 0xD0D0D0, 0x202060, 0xA0E0A0};
  for (int i = 0; i < 4; ++i) {
    const Area area = {width * (i % 2) / 2 + 20 + 7 * i, height * (i / 2) / 2 + 20 + 5 * i,
                       width * 2 / 5, height * 2 / 5};
    windows_.push_back({area, papers[i], inks[i]});
    fill({area.x, area.y - kTitleHeight, area.width, kTitleHeight}, 0x4060A0);
    fill(area, papers[i]);
    for (int line = 0; line < area.height / kLetterHeight; ++line) text_line(windows_.back(), line);
  }
}

void Desktop::fill(const Area &area, uint32_t colour) {
  for (int y = std::max(area.y, 0); y < std::min(area.y + area.height, height_); ++y)
    std::fill_n(pixels_.begin() + static_cast<ptrdiff_t>(y) * width_ + area.x, area.width, colour);
}

void Desktop::glyph(int x, int y, int letter, uint32_t ink) {
  for (int row = 0; row < kLetterHeight; ++row)
    for (int column = 0; column < kLetterWidth; ++column)
      if (letters_[static_cast<size_t>(letter) * kLetterHeight + static_cast<size_t>(row)] >>
              column &
          1)
        pixels_[static_cast<size_t>(y + row) * static_cast<size_t>(width_) +
                static_cast<size_t>(x + column)] = ink;
}

void Desktop::text_line(const Window &window, int line) {
  const Area &area = window.area;
  const int y = area.y + line * kLetterHeight;
  fill({area.x, y, area.width, kLetterHeight}, window.paper);
  const int columns = area.width / kLetterWidth;
  const int used = static_cast<int>(random_() % static_cast<unsigned>(columns));
  for (int column = 0; column < used; ++column)
    if (random_() % 6 != 0)
      glyph(area.x + column * kLetterWidth, y,
            static_cast<int>(random_() % (random_() % kLetters + 1)), window.ink);
}

Area Desktop::scroll(int window, int lines) {
  const Window &target = windows_[static_cast<size_t>(window)];
  const Area &area = target.area;
  const int all = area.height / kLetterHeight;
  const int moved = (all - lines) * kLetterHeight;
  for (int y = 0; y < moved; ++y) {
    uint32_t *row = pixels_.data() + static_cast<ptrdiff_t>(area.y + y) * width_ + area.x;
    std::memmove(row, row + static_cast<ptrdiff_t>(lines) * kLetterHeight * width_,
                 static_cast<size_t>(area.width) * sizeof(uint32_t));
  }
  for (int line = all - lines; line < all; ++line) text_line(target, line);
  return {area.x, area.y, area.width, all * kLetterHeight};
}

Area Desktop::type(int window) {
  const Window &target = windows_[static_cast<size_t>(window)];
  const Area &area = target.area;
  const int line = static_cast<int>(random_() % static_cast<unsigned>(area.height / kLetterHeight));
  text_line(target, line);
  return {area.x, area.y + line * kLetterHeight, area.width, kLetterHeight};
}

void Desktop::film(const Area &area, int frame) {
  const float t = static_cast<float>(frame) * 0.1f;
  std::vector<float> across(static_cast<size_t>(area.width));
  for (int x = 0; x < area.width; ++x)
    across[static_cast<size_t>(x)] = 40 * std::sin(static_cast<float>(x) * 0.011f + t);
  for (int y = 0; y < area.height; ++y) {
    const float down = 40 * std::sin(static_cast<float>(y) * 0.013f - t);
    uint32_t *row = pixels_.data() + static_cast<ptrdiff_t>(area.y + y) * width_ + area.x;
    for (int x = 0; x < area.width; ++x) {
      const auto noise = static_cast<uint32_t>(random_());
      const float light = 128 + across[static_cast<size_t>(x)] + down;
      const auto shade = [&](float part, unsigned shift) {
        const float value = light * part + static_cast<float>(noise >> shift & 3);
        return static_cast<uint32_t>(std::clamp(value, 0.0f, 255.0f));
      };
      row[x] = shade(1.0f, 0) << 16 | shade(0.9f, 8) << 8 | shade(0.75f, 16);
    }
  }
}

}  // namespace bench
