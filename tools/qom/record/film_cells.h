// What the pixels of a small part of the picture tell about a change: whether film looks like that.
#ifndef QOM_RECORD_FILM_CELLS_H
#define QOM_RECORD_FILM_CELLS_H

#include <cstddef>
#include <cstdint>

#include "picture.h"

namespace qom::record {

// Pixels of a cell somewhere in memory, in the display's format. Not owned.
struct CellPixels {
  const uint8_t *pixels;  // the first one
  size_t stride;          // bytes from row to row
};

// How a cell of the picture changed.
enum class CellChange {
  none,
  film,    // photo-like: many small differences side by side
  dull,    // nothing to tell film by, but nothing that film does not show either
  foreign  // as text and menus do: sharp edges between flat colours, or suddenly flat
};

// Judges cells of at most fine_width x fine_height pixels by some of their rows.
class FilmCells {
 public:
  explicit FilmCells(const Picture &picture)
      : pixel_bytes_(picture.pixel_bytes()), mask_(picture.mask()) {}

  // Neither of the two has to be masked.
  CellChange change(const CellPixels &before, const CellPixels &now, int width, int height) const;

 private:
  size_t pixel_bytes_;
  uint32_t mask_;  // the bits of a pixel that count
};

}  // namespace qom::record

#endif
