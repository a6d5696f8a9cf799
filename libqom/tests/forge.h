// Recordings put together frame by frame, with every checksum right and everything else as the
// test wants it; and the repair of checksums after bytes were changed.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

#include "file/format.h"
#include "file/index.h"
#include "file/overview.h"

namespace forge {

using Bytes = std::vector<uint8_t>;

template <typename T>
T get(const Bytes &bytes, size_t at) {
  T value;
  std::memcpy(&value, bytes.data() + at, sizeof value);
  return value;
}

template <typename T>
void put(Bytes *bytes, size_t at, T value) {
  std::memcpy(bytes->data() + at, &value, sizeof value);
}

template <typename T>
void append(Bytes *bytes, T value) {
  const size_t at = bytes->size();
  bytes->resize(at + sizeof value);
  put(bytes, at, value);
}

inline void append(Bytes *bytes, const Bytes &more) {
  bytes->insert(bytes->end(), more.begin(), more.end());
}

// The payload of a header: 32-bit pixels, 64x48, no palette, no texts.
Bytes header_payload(PixelFormat format = xRGB8888, uint8_t scanline_pad = 32);

// Geometry of an image that fits that header.
Bytes geometry(uint16_t width, uint16_t height, PixelFormat format = xRGB8888, uint8_t pad = 32);

Bytes text(const char *text);

class Recording {
 public:
  // A file head with this header payload; the frames follow.
  explicit Recording(const Bytes &header = header_payload(), uint16_t minor = 0);

  // Appends a frame; lengths and checksums are filled in. Returns its position. Records are
  // remembered for add_index().
  size_t add(qom::FrameHead head, const Bytes &payload);
  size_t add(uint8_t type, const Bytes &payload = {}, uint64_t time = 0, uint32_t raw_length = 0,
             uint8_t codec = qom::codec_stored);

  // Appends an index block or part with these entries; returns its position. The head is
  // completed where it is 0: position and counts.
  size_t add_index(uint8_t type, qom::IndexHead head, const std::vector<QomIndexEntry> &entries,
                   const std::vector<qom::CheckpointSpan> &checkpoints = {});
  void add_end_mark(uint64_t index_position, uint64_t records, uint64_t checkpoints = 0,
                    size_t overview_bytes = 0);
  void add_checkpoint(uint64_t position, uint64_t count);
  void add_head_copy();

  // The index part of all records so far, and the end mark.
  void finish();

  // The same with an overview, which `change` may make a lie; and in parts of so many entries.
  void finish_with_overview(const std::vector<qom::CheckpointSpan> &checkpoints = {},
                            uint32_t part_entries = 2,
                            const std::function<void(qom::Overview *)> &change = {});

  Bytes bytes;
  uint32_t salt;
  uint32_t pixel_bytes;                // 0: entries get no areas
  std::vector<QomIndexEntry> entries;  // of the records so far
  uint64_t time = 1000;                // given to records that state none
};

// Makes the checksums of the file head and of every frame right again. With `places`, the
// positions that index frames, overviews and end marks state of themselves as well, those that the
// end mark has for an overview that is there, and copies of the head.
void repair(uint8_t *bytes, size_t length, bool places);
inline void repair(Bytes *bytes) {
  repair(bytes->data(), bytes->size(), false);
}

// Which index the library finds in a file when it begins to look at `source`.
bool load(const char *path, qom::IndexSource source, qom::Index *index);

}  // namespace forge
