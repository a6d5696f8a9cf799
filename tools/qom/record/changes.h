// What of a picture is different from the one before, in the order in which it is recorded.
#ifndef QOM_RECORD_CHANGES_H
#define QOM_RECORD_CHANGES_H

#include <vector>

#include "picture.h"

namespace qom::record {

struct Changes {
  std::vector<Copy> copies;      // parts that only moved
  std::vector<Rectangle> lossy;  // film that is stored with losses
  std::vector<Rectangle> exact;  // everything else; none of them overlaps another one
};

}  // namespace qom::record

#endif
