// The index of a recording: every record's place, time, type and length. It comes from the end
// mark of a finished recording, from the chain of index blocks of an unfinished one, or from
// walking over all frames.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/array.h"
#include "file/format.h"
#include "file/scan.h"
#include "file/source.h"
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
  uint64_t overview_at = 0;  // position that the end mark has for an overview; 0 for none
};

// What came of looking at bytes of a file.
enum class Outcome {
  good,
  bad,    // they are not what a writer leaves
  failed  // they could not be read, or memory is short; the reason is stored
};

// Stores that memory is short, with errno.
Outcome out_of_memory(const char *what);

// How an index may be found, in the order in which they are tried; the tests compare them.
enum class IndexSource { end_mark, chain, walk };

// Builds the index, from `source` or what is tried after it. False with the reason when the
// file cannot be read or memory is short; damage is not a failure.
bool load_index(const Source &source, Window *window, const FrameSpace &space, IndexSource from,
                Index *index);

// The end of a finished recording.
struct End {
  EndMark mark;
  uint64_t overview_bytes;  // of the overview's frame in front of the index; 0 where there is none
};

inline constexpr uint32_t end_bytes = frame_head_bytes + end_mark_bytes;

// Whether the last bytes of a file of `size` bytes are a good end mark.
bool decode_end(const uint8_t bytes[end_bytes], uint64_t size, const FrameSpace &space, End *end);

// Whether the records [first, last), of which there is at least one, lie directly one behind the
// other and hold what a reader needs to start from them.
bool is_checkpoint(const QomIndexEntry *first, const QomIndexEntry *last);

}  // namespace qom
