// Marks of stretches that were not recorded, and of film that was held back.
#pragma once

#include "base/array.h"
#include "file/index.h"
#include "file/scan.h"
#include "file/source.h"
#include "qom/qom.h"

namespace qom {

// All of a file's, in their order.
struct Marks {
  Array<QomGap> gaps;
  Array<QomFilmArea> film;

  void clear() {
    gaps.clear();
    film.clear();
  }
};

// Whether its times and its reason can be those of a mark.
bool is_gap(const QomGap &gap);

// The gap of a mark whose payload begins with these bytes; false when it breaks a rule. The number
// of records before it is the caller's to fill in.
bool decode_gap(const FrameHead &head, const uint8_t payload[gap_bytes], QomGap *gap);

// Whether its times, its area and its limits can be those of a mark.
bool is_film_area(const QomFilmArea &film);

// The same for the mark of film.
bool decode_film_area(const FrameHead &head, const uint8_t payload[film_area_bytes],
                      QomFilmArea *film);

// Finds the marks of a whole file. Only bytes between two records' frames are looked at, and of
// these only heads, so that it takes little beside building the index. False with the reason when
// the file cannot be read or memory is short.
bool find_marks(const Source &source, Window *window, const FrameSpace &space, const Index &index,
                Marks *marks);

}  // namespace qom
