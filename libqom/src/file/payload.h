// Payloads of records: from a record in memory to the bytes of its frame and back.
#pragma once

#include <sys/uio.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "file/format.h"
#include "qom/qom.h"

namespace qom {

// The format of a recording's images, which every image record must share.
struct ImageFormat {
  PixelFormat pixel_format;
  uint8_t scanline_pad;  // bits
};

// A payload as pieces of memory that belong to the record, to `scratch` or to `packed`, ready to be
// written one behind the other.
struct EncodedPayload {
  static constexpr int max_parts = 6;
  struct iovec parts[max_parts];
  int part_count = 0;
  uint32_t length = 0;      // bytes of all parts
  uint32_t raw_length = 0;  // bytes of pixels after decompression
  uint8_t codec = codec_stored;
  uint8_t scratch[64];  // fixed fields and text lengths
  uint8_t scratch_used = 0;
  std::unique_ptr<uint8_t[]> packed;  // pixels of a cursor
};

// Describes the payload of a record for the file. Returns false, with the reason, when the
// record breaks a rule of the format: sizes that disagree, limits, another pixel format.
bool encode_payload(const void *record, const ImageFormat &format, EncodedPayload *payload);

// The same for a header, which a file head and a header record both hold.
bool encode_header(const QomHeader *header, uint8_t version, EncodedPayload *payload);

// Bytes at the start of a record's payload that hold its fixed fields; what follows goes into
// the record's own memory.
uint32_t payload_fixed_bytes(uint8_t type);

inline constexpr uint32_t max_fixed_bytes = 16;

// Whether a frame head can be that of a sound record: known codec and lengths that fit the
// type. Looks at nothing but the head; gives the reason when it returns false.
bool check_record_head(const FrameHead &head);

// A record for a frame, with room for its payload behind the fixed fields; *rest is where to
// read them to, *rest_length how many bytes. Looks at the head's type and stored length only.
// Null when memory is short.
QomRecord *record_for_payload(const FrameHead &head, uint8_t **rest, size_t *rest_length);

// Puts the codec of a head that has been read in front of the record's compressed bytes.
void set_codec(QomRecord *record, const FrameHead &head);

// The fields of a cursor image but its pixels; false with the reason when they break a rule.
bool decode_cursor_geometry(QomCursorImage *cursor, const FrameHead &head, const uint8_t *fixed);

// Fills the record from the fixed fields and the bytes read to *rest. Returns false, with the
// reason, when they break a rule of the format.
bool decode_payload(QomRecord *record, const FrameHead &head, const uint8_t *fixed,
                    const ImageFormat &format);

// Decodes a header payload of `length` bytes that lies in the header's own memory at
// record_data(); texts get their terminators in place. Bytes behind the known fields are
// allowed. False, with the reason, when it breaks a rule.
bool decode_header(QomHeader *header, size_t length);

// Whether a header can be that of a recording; false with the reason.
bool check_header(const QomHeader *header);

}  // namespace qom
