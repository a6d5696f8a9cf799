// A scan over a whole file: what it holds, frame by frame, as the events of qom_reader_scan().
#pragma once

#include "file/index.h"
#include "file/record_source.h"
#include "file/source.h"
#include "qom/qom.h"

namespace qom {

struct ScanSource {
  const Source *source;
  Window *window;
  RecordSource *records;
  const FrameSpace *space;
  uint64_t head_copy;  // position of the frame that the file head was read from; 0 for none
};

using ScanVisitor = int (*)(void *context, const QomScanEvent *event);

int scan_frames(const ScanSource &source, ScanVisitor visit, void *context);

}  // namespace qom
