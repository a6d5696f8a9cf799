// Cursor shapes larger than a recording holds.
#ifndef QOM_RECORD_CURSOR_SCALING_H
#define QOM_RECORD_CURSOR_SCALING_H

#include "cursor.h"

namespace qom::record {

// The shape with sides of at most `most` pixels: the same one when it has them, otherwise each
// pixel is the mean of a square of its pixels, and the hot spot lies where it did.
CursorShape scaled_to_fit(CursorShape shape, int most);

}  // namespace qom::record

#endif
