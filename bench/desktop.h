/*
 * desktop.h - generated pictures that compress like those of a desktop: windows full of text,
 * and photographs.
 */
#ifndef QOM_BENCH_DESKTOP_H
#define QOM_BENCH_DESKTOP_H

#include <cstdint>
#include <vector>

#include "qom/qom.h"

namespace bench {

struct Picture {
  uint16_t width;
  uint16_t height;
  std::vector<uint32_t> pixels; /* xRGB8888, rows from the top */

  /* The pixels stay the picture's. */
  QomImage image() const;
};

/* Terminals and editors with anti-aliased text in colours, title bars, a panel. */
Picture text_desktop(uint16_t width, uint16_t height, unsigned seed);

/* Smooth shapes with the noise of a camera. */
Picture photo(uint16_t width, uint16_t height, unsigned seed);

struct Rectangle {
  uint16_t x, y, width, height;
};

/* The data of an image blocks record with these parts of the picture. */
std::vector<uint8_t> blocks_of(const Picture &picture, const std::vector<Rectangle> &parts);

}  // namespace bench

#endif
