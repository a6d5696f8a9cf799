/*
 * desktop_content.h - pictures that resemble a desktop, made from a seed.
 *
 * Windows of text on a plain background, of which some scroll, and a window of photo-like
 * moving content: smooth gradients with sensor noise. Pixels are xRGB8888.
 */
#ifndef QOM_BENCH_DESKTOP_CONTENT_H
#define QOM_BENCH_DESKTOP_CONTENT_H

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace bench {

struct Area {
  int x;
  int y;
  int width;
  int height;
};

class Desktop {
 public:
  /* A plain background with overlapping windows full of text. */
  Desktop(int width, int height, unsigned seed);

  int width() const { return width_; }
  int height() const { return height_; }
  size_t bytes() const { return pixels_.size() * sizeof(uint32_t); }
  const uint32_t *pixels() const { return pixels_.data(); }
  uint8_t *data() { return reinterpret_cast<uint8_t *>(pixels_.data()); }

  /* Scrolls the text of a window (0..3) by whole lines; returns what changed. */
  Area scroll(int window, int lines);

  /* Types one line of text at a random place of a window; returns what changed. */
  Area type(int window);

  /* The next picture of a film in an area of the screen. */
  void film(const Area &area, int frame);

 private:
  struct Window {
    Area area;
    uint32_t paper;
    uint32_t ink;
  };

  void fill(const Area &area, uint32_t colour);
  void text_line(const Window &window, int line);
  void glyph(int x, int y, int letter, uint32_t ink);

  int width_;
  int height_;
  std::mt19937 random_;
  std::vector<uint32_t> pixels_;
  std::vector<uint8_t> letters_; /* 16 rows of 8 pixels each, one bit a pixel */
  std::vector<Window> windows_;
};

}  // namespace bench

#endif
