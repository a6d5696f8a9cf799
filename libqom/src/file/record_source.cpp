#include "file/record_source.h"

#include <cerrno>
#include <cstring>

#include "base/checksum.h"
#include "base/error.h"
#include "base/records.h"
#include "pixels/cursor_packing.h"

namespace qom {
namespace {

// Records above this are read straight to their place even when they follow each other.
constexpr size_t window_record_bytes = size_t{32} * 1024;

bool matches(const FrameHead &head, const QomIndexEntry &entry) {
  const bool time_matches = entry.flags & QOM_ENTRY_TIME_RAISED ? head.timestamp < entry.timestamp
                                                                : head.timestamp == entry.timestamp;
  return head.type == entry.type && head.stored_length == entry.length && time_matches;
}

// Replaces a record whose pixels are plain in memory and came compressed. False with the reason,
// and with errno when memory is short.
bool unpack(RecordPtr<QomRecord> *record, const FrameHead &head, const uint8_t *fixed,
            const uint8_t *stored, size_t stored_length) {
  if (head.type != QOM_CURSOR_IMAGE || head.codec == codec_stored) return true;
  QomCursorImage cursor;
  if (!decode_cursor_geometry(&cursor, head, fixed)) return false;
  record->reset(unpack_cursor(stored, stored_length, cursor.length));
  return *record != nullptr;
}

}  // namespace

QomRecord *RecordSource::read(const QomIndexEntry &entry) {
  const auto position = static_cast<uint64_t>(entry.position);
  const uint32_t fixed_length = payload_fixed_bytes(entry.type);
  if (entry.length < fixed_length || entry.length > max_payload_bytes)
    return QOM_REFUSE(nullptr, "record at offset %llu: an impossible length",
                      static_cast<unsigned long long>(position));
  FrameHead head;
  head.type = entry.type;
  head.stored_length = entry.length;
  uint8_t *rest;
  size_t rest_length;
  RecordPtr<QomRecord> record(record_for_payload(head, &rest, &rest_length));
  if (!record) return nullptr;

  uint8_t head_bytes[frame_head_bytes];
  uint8_t fixed[max_fixed_bytes];
  struct iovec parts[] = {
      {head_bytes, frame_head_bytes}, {fixed, fixed_length}, {rest, rest_length}};
  if (!read_parts(position, parts, 3, frame_head_bytes + entry.length)) return nullptr;

  const auto offset = static_cast<unsigned long long>(position);
  if (!decode_frame_head(head_bytes, salt_, &head))
    return QOM_REFUSE(nullptr, "record at offset %llu: its head is damaged", offset);
  if (!matches(head, entry))
    return QOM_REFUSE(nullptr, "record at offset %llu: not the record of the index", offset);
  if (Crc32c().add(fixed, fixed_length).add(rest, rest_length).value() != head.payload_crc)
    return QOM_REFUSE(nullptr, "record at offset %llu: its checksum is wrong", offset);
  set_codec(record.get(), head);
  errno = 0;
  if (!check_record_head(head) || !unpack(&record, head, fixed, rest, rest_length)) return nullptr;
  if (!decode_payload(record.get(), head, fixed, format_)) {
    errno = 0;
    return nullptr;
  }
  record->timestamp = entry.timestamp;
  return record.release();
}

// Small records that follow each other come out of the window, which saves a system call each.
void RecordSource::expect(uint64_t from, uint64_t to) {
  expected_from_ = from;
  expected_to_ = to;
}

// The bytes where they are in memory or come with others that are read soon; null when they are to
// be read alone, or with *failed and the reason.
const uint8_t *RecordSource::find(uint64_t position, size_t length, bool *failed) {
  const bool sequential = position == next_position_ && length <= window_record_bytes;
  next_position_ = position + length;
  const bool expected =
      position >= expected_from_ && position + length <= expected_to_ && length <= expected_.room();
  *failed = false;
  const uint8_t *bytes;
  if (expected && !window_->holds(position, length))
    bytes = expected_.at(position, length, expected_to_);
  else if (sequential || window_->holds(position, length))
    bytes = window_->at(position, length);
  else
    return nullptr;
  *failed = !bytes;
  return bytes;
}

bool RecordSource::read_parts(uint64_t position, struct iovec *parts, int count, size_t length) {
  bool failed;
  const uint8_t *bytes = find(position, length, &failed);
  if (!bytes) return !failed && source_->read_parts(position, parts, count);
  for (int i = 0; i < count; ++i) {
    if (parts[i].iov_len > 0) std::memcpy(parts[i].iov_base, bytes, parts[i].iov_len);
    bytes += parts[i].iov_len;
  }
  return true;
}

}  // namespace qom
