// The index of a recording: every record's place, time, type and length. It comes from the end
// mark of a finished recording, from the chain of index blocks of an unfinished one, or from
// walking over all frames.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/array.h"
#include "file/file.h"
#include "qom/qom.h"

namespace qom {

// Records [first, end) that restate the whole state.
struct Checkpoint {
  size_t first;
  size_t end;
};

struct Index {
  Array<QomIndexEntry> entries;
  Array<Checkpoint> checkpoints;  // by first, ascending
  QomReaderInfo info = {};
};

// Where the frames begin and what their checksums start from.
struct FrameSpace {
  uint32_t salt;
  uint64_t first_frame;  // bytes from the start of the file
  uint64_t start_time;   // of the recording, microseconds
};

// How an index may be found, in the order in which they are tried; the tests compare them.
enum class IndexSource { end_mark, chain, walk };

// Builds the index, from `source` or what is tried after it. False with the reason when the
// file cannot be read or memory is short; damage is not a failure.
bool load_index(const File &file, Window *window, const FrameSpace &space, IndexSource source,
                Index *index);

}  // namespace qom
