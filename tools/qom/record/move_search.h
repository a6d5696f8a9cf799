// Finds what only moved inside the picture: scrolled pages, dragged windows.
#ifndef QOM_RECORD_MOVE_SEARCH_H
#define QOM_RECORD_MOVE_SEARCH_H

#include <cstdint>
#include <vector>

#include "anchors.h"
#include "moved_cells.h"
#include "picture.h"

namespace qom::record {

class MoveSearch {
 public:
  // Copies that bring the picture, applied to it in this order, closer to the grabbed pixels. None
  // when so little changed that looking for them does not pay. Their targets lie inside the grabs,
  // which are as Picture::update() wants them. What was copied has to be compared with the grabs
  // all the same: a copy may take what an earlier one has overwritten.
  std::vector<Copy> find(const Picture &picture, const std::vector<Grab> &grabs);

 private:
  // Some pixels side by side that changed and are not all of one colour.
  struct Sample {
    int x;
    int y;
    const uint8_t *pixels;
  };

  bool pays(const Picture &picture, const std::vector<Grab> &grabs);
  bool moved_much(const Picture &picture, Displacement moved) const;

  Anchors anchors_;
  std::vector<Sample> samples_;
};

}  // namespace qom::record

#endif
