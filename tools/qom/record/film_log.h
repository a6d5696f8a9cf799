// Where and when film was held back, for the recording to tell.
#ifndef QOM_RECORD_FILM_LOG_H
#define QOM_RECORD_FILM_LOG_H

#include <cstdint>
#include <vector>

#include "rectangle.h"

namespace qom::record {

// From `end` on the picture is exact there again. Times are steady_time().
struct FilmStretch {
  Rectangle area;
  int64_t begin;
  int64_t end;

  bool operator==(const FilmStretch &) const = default;
};

class FilmLog {
 public:
  // The areas of which a reader does not have the exact picture now. Returns the stretches that
  // have ended, and parts of those that go on for long, so that a recorder that is killed has told
  // of nearly all of them.
  std::vector<FilmStretch> update(const std::vector<Rectangle> &areas, int64_t now);

 private:
  std::vector<FilmStretch> open_;  // `end` is when they were seen last
};

}  // namespace qom::record

#endif
