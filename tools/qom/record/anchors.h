// Pixels of a new picture that stood at another place of the old one, found at samples.
#ifndef QOM_RECORD_ANCHORS_H
#define QOM_RECORD_ANCHORS_H

#include <compare>
#include <vector>

#include "picture.h"

namespace qom::record {

// By how much something moved, pixels to the right and down.
struct Displacement {
  int x;
  int y;
  auto operator<=>(const Displacement &) const = default;
};

// A place of the new picture whose pixels stood elsewhere.
struct Sighting {
  Displacement moved;
  int x;
  int y;
  auto operator<=>(const Sighting &) const = default;
};

// An anchor is a small block of pixels that stands out: it begins at an edge, and a hash of what is
// there says whether it is looked at, so that the same ones are picked wherever a content goes.
// A new picture's anchors in some of the rows are looked up among those in some of the columns of
// the old one, so that any displacement can be found while each picture is read only in part.
class Anchors {
 public:
  // What stands in the grabs, and stood once and elsewhere in the same area of the picture. Hashes
  // may agree by chance. Sightings come in no order. One of `step` parts of the old pixels is
  // looked at, a power of two, and one of step - 1 rows of the new ones.
  const std::vector<Sighting> &sightings(const Picture &picture, const std::vector<Grab> &grabs,
                                         int step);

 private:
  struct Known {
    uint32_t hash;
    int16_t x;  // of the anchor in the old picture; `none` and `several` are no places
    int16_t y;
  };

  template <class Pixel>
  void know(const Picture &picture, const std::vector<Grab> &grabs);
  template <class Pixel>
  void look_up(const Picture &picture, const std::vector<Grab> &grabs);
  void clear(const std::vector<Grab> &grabs);
  Known &known(uint32_t hash) { return table_[hash & (table_.size() - 1)]; }
  void add(uint32_t hash, int x, int y);

  int step_ = 0;
  std::vector<Known> table_;  // a hash has one place in it, and the first who comes there stays
  std::vector<Sighting> sightings_;
};

}  // namespace qom::record

#endif
