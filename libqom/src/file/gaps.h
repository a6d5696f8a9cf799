// Marks of stretches that were not recorded.
#pragma once

#include "base/array.h"
#include "file/index.h"
#include "file/scan.h"
#include "file/source.h"
#include "qom/qom.h"

namespace qom {

// Whether its times and its reason can be those of a mark.
bool is_gap(const QomGap &gap);

// The gap of a mark whose payload begins with these bytes; false when it breaks a rule. The number
// of records before it is the caller's to fill in.
bool decode_gap(const FrameHead &head, const uint8_t payload[gap_bytes], QomGap *gap);

// Finds the marks of a whole file. Only bytes between two records' frames are looked at, and of
// these only heads, so that it takes little beside building the index. False with the reason when
// the file cannot be read or memory is short.
bool find_gaps(const Source &source, Window *window, const FrameSpace &space, const Index &index,
               Array<QomGap> *gaps);

}  // namespace qom
