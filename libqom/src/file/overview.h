// The overview of a finished recording: what a player needs first, without the whole index. It is
// a cache of what the index tells; nothing of it is needed to read the records.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "base/array.h"
#include "file/activity.h"
#include "file/format.h"
#include "file/index.h"
#include "file/scan.h"
#include "file/source.h"

namespace qom {

// Where an index part and what belongs to it begin; follows from the parts before it.
struct PartPlace {
  uint64_t position;  // of its frame, bytes from the start of the file
  uint64_t first_record;
  size_t first_checkpoint;
};

struct Overview {
  OverviewHead head = {};
  Array<OverviewPart> parts;
  Array<OverviewCheckpoint> checkpoints;
  Strip strip;
};

// Bytes of the frame of an index part.
uint64_t part_bytes(const OverviewPart &part);

// What an overview tells of the entries when the index is cut into parts of so many of them; all
// but its position. False with the reason when memory is short.
bool make_overview(std::span<const QomIndexEntry> entries, std::span<const Checkpoint> checkpoints,
                   std::span<const uint32_t> part_entries, Overview *overview);

// Makes the payload of its frame and fills in the head but its length and checksum. False when
// memory is short or it is too large.
bool encode_overview(const Overview &overview, FrameHead *frame, Array<uint8_t> *payload);

// Whether two of them tell the same, wherever they lie.
bool is_same(const Overview &a, const Overview &b);

// Reads the overview of a file that ends in `end`, and holds it against itself and the end mark:
// the parts follow each other up to the end mark, and all numbers and times can be true. Fills in
// the places of the parts. The last bytes of the file may be given in `tail`.
Outcome read_overview(const Window &window, const FrameSpace &space, const End &end,
                      std::span<const uint8_t> tail, Overview *overview, Array<PartPlace> *places);

}  // namespace qom
