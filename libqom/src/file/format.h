// The bytes of a recording: file head, frame heads and the payloads of structural frames.
// docs/format.md describes them; what is written inside compressed pixels is known to pixels/.
#pragma once

#include <cstdint>

#include "pixels/codec.h"
#include "qom/qom.h"

namespace qom {

inline constexpr uint8_t format_major = 1;
inline constexpr uint8_t format_minor = 3;
inline constexpr uint8_t format_minor_areas = 2;  // the first whose index entries hold areas

// Recordings that may hold copies of areas: readers of version 1 would show wrong pictures.
inline constexpr uint8_t format_major_copies = 2;
inline constexpr uint8_t format_minor_copies = 1;

inline constexpr uint8_t magic[8] = {0x89, 'Q', 'O', 'M', '\r', '\n', 0x1A, '\n'};
inline constexpr uint32_t file_head_bytes = 16;         // before the header payload
inline constexpr uint32_t max_header_bytes = 4u << 20;  // of the header payload
inline constexpr uint32_t header_fixed_bytes = 20;      // of the header payload before the palette

inline constexpr uint8_t sync_word[4] = {0xB3, 'Q', 'r', 0xF8};
inline constexpr uint32_t frame_head_bytes = 32;
inline constexpr uint32_t frame_stored_length_at = 16;  // in a frame head

// Frame types above the records.
inline constexpr uint8_t frame_index_block = 224;
inline constexpr uint8_t frame_index_part = 225;
inline constexpr uint8_t frame_end_mark = 226;
inline constexpr uint8_t frame_checkpoint = 227;
inline constexpr uint8_t frame_head_copy = 228;
inline constexpr uint8_t frame_gap = 229;
inline constexpr uint8_t frame_overview = 230;
inline constexpr uint8_t frame_origin = 232;
inline constexpr uint8_t frame_film_area = 233;

inline constexpr uint32_t absent_text = 0xFFFFFFFFu;

// An index block is due after so many records or bytes of frames.
inline constexpr uint32_t index_block_entries = 4096;
inline constexpr uint64_t index_block_bytes = uint64_t{4} << 20;
inline constexpr uint32_t index_part_entries = 4096;
inline constexpr uint32_t max_part_entries = 65536;

// A head copy is due with an index block when so many bytes of frames have come since the last one,
// or so many times its own bytes.
inline constexpr uint64_t head_copy_bytes = index_block_bytes;
inline constexpr uint64_t head_copy_share = 64;

inline constexpr uint32_t index_fixed_bytes = 32;  // of an index payload before the entries
inline constexpr uint32_t end_mark_bytes = 32;     // payloads
inline constexpr uint32_t checkpoint_bytes = 16;
inline constexpr uint32_t gap_bytes = 32;
inline constexpr uint32_t film_area_bytes = 32;
inline constexpr uint32_t overview_fixed_bytes = 64;  // of its payload, never compressed
inline constexpr uint32_t overview_part_bytes = 32;   // of the rest, each
inline constexpr uint32_t overview_checkpoint_bytes = 32;
inline constexpr uint32_t overview_step_bytes = 20;
inline constexpr uint32_t max_overview_bytes = 64u << 20;  // of the rest

inline constexpr uint32_t origin_fixed_bytes = 80;  // of its payload before the masks

inline constexpr uint32_t max_checkpoint_records = 256;

// No payload is longer: pixels with their geometry, or a header.
inline constexpr uint32_t max_payload_bytes = QOM_MAX_DATA + (8u << 20);

inline bool is_record_type(uint8_t type) {
  return type <= QOM_COPY_AREA;
}

inline bool is_structural_type(uint8_t type) {
  return (type >= frame_index_block && type <= frame_overview) || type == frame_origin ||
         type == frame_film_area;
}

struct FrameHead {
  uint8_t type = 0;
  uint8_t codec = codec_stored;
  uint64_t timestamp = 0;      // microseconds
  uint32_t stored_length = 0;  // bytes of payload
  uint32_t raw_length = 0;     // bytes of pixels after decompression, or that are copied
  uint32_t payload_crc = 0;
};

// Writes the head with its own checksum, which starts from the file's salt.
void encode_frame_head(const FrameHead &head, uint32_t salt, uint8_t bytes[frame_head_bytes]);

// False when the sync word or the head's checksum is wrong.
bool decode_frame_head(const uint8_t bytes[frame_head_bytes], uint32_t salt, FrameHead *head);

// A checkpoint as it is written: its first record's frame and how many records it has.
struct CheckpointSpan {
  uint64_t position;  // bytes from the start of the file
  uint64_t count;     // records
};
static_assert(sizeof(CheckpointSpan) == checkpoint_bytes);

// The fixed part of an index payload.
struct IndexHead {
  uint64_t position;      // of this frame
  uint64_t previous;      // position of the previous index block, 0 for none
  uint64_t first_record;  // number of the first entry's record
  uint32_t entries;
  uint32_t checkpoints;
};
static_assert(sizeof(IndexHead) == index_fixed_bytes);

struct EndMark {
  uint64_t position;        // of this frame
  uint64_t index_position;  // of the first index part
  uint64_t records;
  uint64_t checkpoints;
};
static_assert(sizeof(EndMark) == end_mark_bytes);

// A stretch that was not recorded.
struct GapMark {
  uint64_t begin;  // microseconds
  uint64_t end;
  int64_t clock_offset;
  uint8_t reason;
  uint8_t zero[7];
};
static_assert(sizeof(GapMark) == gap_bytes);

// A stretch of time in which film in an area was held back or stored with losses.
struct FilmAreaMark {
  uint64_t begin;  // microseconds
  uint64_t end;
  uint16_t x;
  uint16_t y;
  uint16_t width;
  uint16_t height;
  uint32_t rate;  // pictures in 1000 seconds at most; 0 for no limit
  uint8_t quality;
  uint8_t zero[3];
};
static_assert(sizeof(FilmAreaMark) == film_area_bytes);

// The fixed part of an overview's payload.
struct OverviewHead {
  uint64_t position;  // of this frame
  uint64_t records;
  uint64_t first_image;       // number of the record; `records` for none
  uint64_t first_image_time;  // microseconds; 0 for none
  uint64_t strip_start;       // microseconds
  uint64_t step_width;        // microseconds
  uint32_t parts;
  uint32_t checkpoints;
  uint32_t steps;
  uint32_t zero;
};
static_assert(sizeof(OverviewHead) == overview_fixed_bytes);

// What an overview tells of an index part.
struct OverviewPart {
  uint64_t record_position;  // of the frame of its first record
  uint64_t first_time;       // microseconds, of its first and its last record
  uint64_t last_time;
  uint32_t entries;
  uint32_t checkpoints;
};
static_assert(sizeof(OverviewPart) == overview_part_bytes);

struct OverviewCheckpoint {
  uint64_t position;      // of the frame of its first record
  uint64_t first_record;  // number
  uint64_t time;          // of its first record, microseconds
  uint32_t records;
  uint32_t zero;
};
static_assert(sizeof(OverviewCheckpoint) == overview_checkpoint_bytes);
static_assert(sizeof(QomActivityStep) == overview_step_bytes,
              "steps are used as they lie in the file");

// Areas in pixels as index entries hold them, rounded down to twelve bits.
uint16_t encode_area(uint64_t pixels);
uint64_t decode_area(uint16_t area);

// Whether a record of this type changes the picture.
inline bool draws(uint8_t type) {
  return type == QOM_IMAGE || type == QOM_COMPRESSED_IMAGE || type == QOM_IMAGE_BLOCKS ||
         type == QOM_COMPRESSED_IMAGE_BLOCKS || type == QOM_COPY_AREA;
}

// Whether a record of this type is one image.
inline bool is_image(uint8_t type) {
  return type == QOM_IMAGE || type == QOM_COMPRESSED_IMAGE;
}

// The flags for the entry of a record with this head, as they lie in the file.
inline uint8_t flags_of(const FrameHead &head) {
  return head.codec == codec_lossy ? QOM_ENTRY_LOSSY : 0;
}

// The area for the entry of a record with this head; 0 for one that draws nothing, and when
// `pixel_bytes` is 0.
uint16_t area_of(const FrameHead &head, uint32_t pixel_bytes);

static_assert(sizeof(QomIndexEntry) == 24, "index entries are used as they lie in the file");

}  // namespace qom
