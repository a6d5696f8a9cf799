#include "file/file_head.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "base/bytes.h"
#include "base/checksum.h"
#include "base/error.h"
#include "file/format.h"
#include "file/payload.h"
#include "file/scan.h"

namespace qom {
namespace {

enum class Outcome {
  sound,
  broken,       // not the bytes that were written, or no recording at all
  not_allowed,  // what was written breaks a rule
  failed        // the file could not be read, or memory is short
};

// Each takes at most the largest head to read; files that lay out more false ones harm themselves.
constexpr int copy_attempts = 16;

// Read from a source that is far before anything is known of it.
constexpr uint64_t first_read_bytes = uint64_t{64} * 1024;

// Reads the head that begins at `position`.
Outcome read_head_at(const Source &source, const Window &window, uint64_t position,
                     FileHead *found) {
  const uint64_t room = source.size() - position;
  uint8_t start[file_head_bytes];
  if (room < sizeof start + sizeof(uint32_t))
    return QOM_REFUSE(Outcome::broken, "not a recording: too short");
  if (!window.copy(position, start, sizeof start)) return Outcome::failed;
  if (std::memcmp(start, magic, sizeof magic) != 0)
    return QOM_REFUSE(Outcome::broken, "not a recording: it does not begin like one");
  ByteReader cursor(start + sizeof magic, sizeof start - sizeof magic);
  const auto major = cursor.get<uint16_t>();
  const auto minor = cursor.get<uint16_t>();
  const auto length = cursor.get<uint32_t>();
  if (major != format_major && major != format_major_copies)
    return QOM_REFUSE(Outcome::broken,
                      "a recording of format version %u.%u; this program reads versions %u and %u",
                      major, minor, format_major, format_major_copies);
  if (length > max_header_bytes || length > room - sizeof start - sizeof(uint32_t))
    return QOM_REFUSE(Outcome::broken, "a recording whose header is cut off");

  RecordPtr<QomHeader> header(
      reinterpret_cast<QomHeader *>(allocate_record(QOM_HEADER, 0, length + sizeof(uint32_t))));
  if (!header) return Outcome::failed;
  uint8_t *payload = record_data(header.get());
  if (!window.copy(position + sizeof start, payload, length + sizeof(uint32_t)))
    return Outcome::failed;
  Crc32c crc;
  const uint32_t salt = crc.add(start, sizeof start).add(payload, length).value();
  if (salt != load<uint32_t>(payload + length))
    return QOM_REFUSE(Outcome::broken,
                      "a recording whose header is damaged: its checksum is wrong");
  found->checksum = crc.add(&salt, sizeof salt).value();
  payload[length] = 0;
  if (!decode_header(header.get(), length) || !check_header(header.get())) {
    errno = 0;
    return Outcome::not_allowed;
  }
  header->version = static_cast<uint8_t>(major);
  found->header = std::move(header);
  found->major_version = static_cast<uint8_t>(major);
  found->minor_version = static_cast<uint8_t>(std::min<uint16_t>(minor, 255));
  found->salt = salt;
  found->length = sizeof start + length + sizeof salt;
  return Outcome::sound;
}

// Whether the sync word at `position` begins what looks like the frame of a head copy.
bool looks_like_copy(const uint8_t *bytes) {
  const auto stored = load<uint32_t>(bytes + frame_stored_length_at);
  const uint8_t *head = bytes + frame_head_bytes;
  const auto header = load<uint32_t>(head + file_head_bytes - sizeof(uint32_t));
  return bytes[sizeof sync_word] == frame_head_copy &&
         std::memcmp(head, magic, sizeof magic) == 0 && header <= max_header_bytes &&
         stored == file_head_bytes + header + sizeof(uint32_t);
}

// A copy proves itself: its frame's own checksum is right with the salt that the copy holds.
Outcome read_copy(const Source &source, const Window &window, uint64_t position, FileHead *found) {
  uint8_t bytes[frame_head_bytes];
  if (!window.copy(position, bytes, sizeof bytes)) return Outcome::failed;
  const Outcome outcome = read_head_at(source, window, position + sizeof bytes, found);
  if (outcome != Outcome::sound) return outcome;
  FrameHead frame;
  if (!decode_frame_head(bytes, found->salt, &frame) || frame.payload_crc != found->checksum)
    return Outcome::broken;
  found->copied_from = position;
  return Outcome::sound;
}

// Looks for the first copy in [from, limit).
Outcome find_copy(const Source &source, Window *window, uint64_t from, uint64_t limit,
                  int *attempts, FileHead *found) {
  constexpr size_t telling = frame_head_bytes + file_head_bytes;
  uint64_t at = from;
  bool failed;
  for (; find_sync(window, telling, &at, limit, &failed); ++at) {
    const uint8_t *bytes = window->at(at, telling);
    if (!bytes) return Outcome::failed;
    if (!looks_like_copy(bytes)) continue;
    if (--*attempts < 0) return Outcome::broken;
    const Outcome outcome = read_copy(source, *window, at, found);
    if (outcome == Outcome::sound || outcome == Outcome::failed) return outcome;
  }
  return failed ? Outcome::failed : Outcome::broken;
}

// Nothing says where copies are, and a file that is no recording has none: only its first and its
// last stretch are looked at.
Outcome find_copy(const Source &source, Window *window, FileHead *found) {
  int attempts = copy_attempts;
  const uint64_t first_end = std::min(source.size(), searched_bytes);
  // A head was in front of it.
  const Outcome outcome = find_copy(source, window, 1, first_end, &attempts, found);
  if (outcome != Outcome::broken) return outcome;
  const uint64_t last_begin = std::max(first_end, source.size() - first_end);
  return find_copy(source, window, last_begin, source.size(), &attempts, found);
}

}  // namespace

FrameSpace frame_space(const FileHead &head) {
  const size_t pixel_bytes = pixel_format_bytes_per_pixel(head.header->pixel_format);
  const bool has_areas =
      head.major_version > format_major || head.minor_version >= format_minor_areas;
  return {head.salt, head.length, head.header->timestamp,
          has_areas ? static_cast<uint32_t>(pixel_bytes) : 0};
}

bool read_file_head(const Source &source, Window *window, FileHead *head) {
  // One request brings the head and, of most recordings, the first picture.
  if (source.far() && source.size() > 0 && !window->at(0, 1, first_read_bytes)) return false;
  const Outcome outcome = read_head_at(source, *window, 0, head);
  if (outcome != Outcome::broken) return outcome == Outcome::sound;
  const std::string reason = last_error();
  const Outcome copied = find_copy(source, window, head);
  if (copied == Outcome::sound) return true;
  if (copied == Outcome::failed) return false;
  return QOM_REFUSE(false, "%s", reason.c_str());
}

}  // namespace qom
