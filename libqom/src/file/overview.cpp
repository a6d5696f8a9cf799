#include "file/overview.h"

#include <algorithm>
#include <cstring>

#include "base/checksum.h"
#include "pixels/codec.h"

namespace qom {
namespace {

// The rest of a payload above this is compressed.
constexpr size_t stored_bytes = 1024;

template <typename T>
size_t bytes_of(const Array<T> &array) {
  return array.size() * sizeof(T);
}

template <typename T>
bool append(Array<uint8_t> *bytes, const Array<T> &array) {
  const size_t at = bytes->size();
  if (!bytes->resize(at + bytes_of(array))) return false;
  if (!array.empty()) std::memcpy(bytes->data() + at, array.data(), bytes_of(array));
  return true;
}

template <typename T>
bool take(const uint8_t **bytes, size_t count, Array<T> *array) {
  if (!array->resize(count)) return false;
  if (count > 0) std::memcpy(array->data(), *bytes, count * sizeof(T));
  *bytes += count * sizeof(T);
  return true;
}

template <typename T>
bool is_same_array(const Array<T> &a, const Array<T> &b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), bytes_of(a)) == 0);
}

// --- made ------------------------------------------------------------------------------------

bool add_parts(std::span<const QomIndexEntry> entries, std::span<const Checkpoint> checkpoints,
               std::span<const uint32_t> part_entries, Overview *overview) {
  size_t first = 0;
  auto checkpoint = checkpoints.begin();
  for (const uint32_t count : part_entries) {
    OverviewPart part = {static_cast<uint64_t>(entries[first].position), entries[first].timestamp,
                         entries[first + count - 1].timestamp, count, 0};
    first += count;
    for (; checkpoint != checkpoints.end() && checkpoint->first < first; ++checkpoint)
      ++part.checkpoints;
    if (!overview->parts.push(part)) return false;
  }
  return true;
}

bool add_checkpoints(std::span<const QomIndexEntry> entries,
                     std::span<const Checkpoint> checkpoints, Overview *overview) {
  for (const Checkpoint &checkpoint : checkpoints) {
    const QomIndexEntry &entry = entries[checkpoint.first];
    if (!overview->checkpoints.push({static_cast<uint64_t>(entry.position), checkpoint.first,
                                     entry.timestamp,
                                     static_cast<uint32_t>(checkpoint.end - checkpoint.first), 0}))
      return false;
  }
  return true;
}

void add_first_image(std::span<const QomIndexEntry> entries, OverviewHead *head) {
  const auto found = std::find_if(entries.begin(), entries.end(),
                                  [](const QomIndexEntry &entry) { return is_image(entry.type); });
  head->first_image = static_cast<uint64_t>(found - entries.begin());
  head->first_image_time = found == entries.end() ? 0 : found->timestamp;
}

// --- read ------------------------------------------------------------------------------------

uint64_t rest_bytes(const OverviewHead &head) {
  return uint64_t{head.parts} * sizeof(OverviewPart) +
         uint64_t{head.checkpoints} * sizeof(OverviewCheckpoint) +
         uint64_t{head.steps} * sizeof(QomActivityStep);
}

// The rest of the payload behind its fixed part, as it was before it was compressed.
Outcome unpack(const FrameHead &frame, const uint8_t *stored, Array<uint8_t> *rest) {
  const size_t length = frame.stored_length - overview_fixed_bytes;
  if (frame.codec == codec_stored
          ? length != frame.raw_length
          : frame.codec != codec_zstd || !check_compressed(stored, length, frame.raw_length))
    return Outcome::bad;
  if (!rest->resize(frame.raw_length)) return out_of_memory("the overview");
  if (frame.codec == codec_zstd)
    return decompress(codec_zstd, stored, length, rest->data(), rest->size(), 0) ? Outcome::good
                                                                                 : Outcome::bad;
  if (length > 0) std::memcpy(rest->data(), stored, length);
  return Outcome::good;
}

Outcome decode(const uint8_t *bytes, uint64_t length, const FrameSpace &space, Overview *overview) {
  FrameHead frame;
  if (!decode_frame_head(bytes, space.salt, &frame) || frame.type != frame_overview ||
      frame.stored_length != length - frame_head_bytes || frame.raw_length > max_overview_bytes)
    return Outcome::bad;
  const uint8_t *payload = bytes + frame_head_bytes;
  if (crc32c(payload, frame.stored_length) != frame.payload_crc) return Outcome::bad;
  OverviewHead &head = overview->head;
  std::memcpy(&head, payload, sizeof head);
  if (rest_bytes(head) > frame.raw_length || head.steps > max_steps) return Outcome::bad;
  Array<uint8_t> rest;
  const Outcome outcome = unpack(frame, payload + overview_fixed_bytes, &rest);
  if (outcome != Outcome::good) return outcome;
  const uint8_t *at = rest.data();
  if (!take(&at, head.parts, &overview->parts) ||
      !take(&at, head.checkpoints, &overview->checkpoints) ||
      !take(&at, head.steps, &overview->strip.steps))
    return out_of_memory("the overview");
  overview->strip.start = head.strip_start;
  overview->strip.width = head.step_width;
  return Outcome::good;
}

// Whether the parts follow each other from the first to the end mark with all records.
Outcome place_parts(const Overview &overview, const End &end, const FrameSpace &space,
                    Array<PartPlace> *places) {
  if (!places->reserve(overview.parts.size())) return out_of_memory("the overview");
  places->clear();
  PartPlace place = {end.mark.index_position, 0, 0};
  uint64_t position = space.first_frame;  // where the next record can be
  uint64_t time = space.start_time;
  for (const OverviewPart &part : overview.parts) {
    if (part.entries == 0 || part.entries > max_part_entries || part.record_position < position ||
        part.record_position > overview.head.position || part.first_time < time ||
        part.last_time < part.first_time || part.last_time > QOM_MAX_TIME)
      return Outcome::bad;
    places->push(place);
    place.position += part_bytes(part);
    place.first_record += part.entries;
    place.first_checkpoint += part.checkpoints;
    position = part.record_position + uint64_t{part.entries} * frame_head_bytes;
    time = part.last_time;
  }
  const bool joined = position <= overview.head.position && place.position == end.mark.position &&
                      place.first_record == end.mark.records &&
                      place.first_checkpoint == overview.checkpoints.size();
  return joined ? Outcome::good : Outcome::bad;
}

// Whether each checkpoint lies in its part, behind the one before it.
bool check_checkpoints(const Overview &overview, std::span<const PartPlace> places) {
  uint64_t record = 0;
  for (size_t i = 0; i < places.size(); ++i) {
    const OverviewPart &part = overview.parts[i];
    for (size_t k = 0; k < part.checkpoints; ++k) {
      const OverviewCheckpoint &checkpoint = overview.checkpoints[places[i].first_checkpoint + k];
      if (checkpoint.first_record < std::max(record, places[i].first_record) ||
          checkpoint.first_record >= places[i].first_record + part.entries ||
          checkpoint.records == 0 || checkpoint.records > max_checkpoint_records ||
          checkpoint.records > overview.head.records - checkpoint.first_record)
        return false;
      record = checkpoint.first_record + checkpoint.records;
    }
  }
  return true;
}

bool check_strip(const Overview &overview) {
  const Strip &strip = overview.strip;
  if (overview.parts.empty()) return strip.steps.empty() && strip.start == 0 && strip.width == 1;
  const uint64_t first = overview.parts[0].first_time;
  const uint64_t last = overview.parts[overview.parts.size() - 1].last_time;
  return strip.start == first && strip.width == step_width(first, last) &&
         strip.steps.size() == step_count(first, last);
}

bool check_first_image(const OverviewHead &head) {
  return head.first_image < head.records ||
         (head.first_image == head.records && head.first_image_time == 0);
}

}  // namespace

uint64_t part_bytes(const OverviewPart &part) {
  return uint64_t{frame_head_bytes} + index_fixed_bytes +
         uint64_t{part.entries} * sizeof(QomIndexEntry) +
         uint64_t{part.checkpoints} * sizeof(CheckpointSpan);
}

bool make_overview(std::span<const QomIndexEntry> entries, std::span<const Checkpoint> checkpoints,
                   std::span<const uint32_t> part_entries, Overview *overview) {
  overview->parts.clear();
  overview->checkpoints.clear();
  if (!add_parts(entries, checkpoints, part_entries, overview) ||
      !add_checkpoints(entries, checkpoints, overview)) {
    out_of_memory("the overview");
    return false;
  }
  if (!measure_activity(entries, checkpoints, &overview->strip)) return false;
  OverviewHead &head = overview->head;
  head = {};
  head.records = entries.size();
  add_first_image(entries, &head);
  head.strip_start = overview->strip.start;
  head.step_width = overview->strip.width;
  head.parts = static_cast<uint32_t>(overview->parts.size());
  head.checkpoints = static_cast<uint32_t>(overview->checkpoints.size());
  head.steps = static_cast<uint32_t>(overview->strip.steps.size());
  return true;
}

bool encode_overview(const Overview &overview, FrameHead *frame, Array<uint8_t> *payload) {
  Array<uint8_t> rest;
  if (!append(&rest, overview.parts) || !append(&rest, overview.checkpoints) ||
      !append(&rest, overview.strip.steps))
    return out_of_memory("the overview") == Outcome::good;
  if (rest.size() > max_overview_bytes) return false;
  const size_t room = std::max(rest.size(), compress_bound(rest.size()));
  if (!payload->resize(overview_fixed_bytes + room))
    return out_of_memory("the overview") == Outcome::good;
  std::memcpy(payload->data(), &overview.head, sizeof overview.head);
  uint8_t *stored = payload->data() + overview_fixed_bytes;
  size_t length = rest.size();
  frame->type = frame_overview;
  frame->raw_length = static_cast<uint32_t>(rest.size());
  if (rest.size() > stored_bytes) {
    length = compress(rest.data(), rest.size(), stored, room, Effort::usual);
    if (length == 0) return false;
    frame->codec = codec_zstd;
  } else if (length > 0) {
    std::memcpy(stored, rest.data(), length);
  }
  payload->truncate(overview_fixed_bytes + length);
  return true;
}

bool is_same(const Overview &a, const Overview &b) {
  OverviewHead head = b.head;
  head.position = a.head.position;
  return std::memcmp(&a.head, &head, sizeof head) == 0 && is_same_array(a.parts, b.parts) &&
         is_same_array(a.checkpoints, b.checkpoints) && is_same_array(a.strip.steps, b.strip.steps);
}

Outcome read_overview(const Window &window, const FrameSpace &space, const End &end,
                      std::span<const uint8_t> tail, Overview *overview, Array<PartPlace> *places) {
  const uint64_t length = end.overview_bytes;
  const uint64_t most = end.mark.index_position - space.first_frame;
  if (length < frame_head_bytes + overview_fixed_bytes || length > most) return Outcome::bad;
  const uint64_t position = end.mark.index_position - length;
  const uint64_t tail_position = end.mark.position + end_bytes - tail.size();
  Array<uint8_t> read;
  const uint8_t *bytes;
  if (position >= tail_position) {
    bytes = tail.data() + (position - tail_position);
  } else {
    if (!read.resize(length)) return out_of_memory("the overview");
    if (!window.copy(position, read.data(), length)) return Outcome::failed;
    bytes = read.data();
  }
  Outcome outcome = decode(bytes, length, space, overview);
  if (outcome != Outcome::good) return outcome;
  const OverviewHead &head = overview->head;
  if (head.position != position || head.records != end.mark.records ||
      head.checkpoints != end.mark.checkpoints || !check_first_image(head))
    return Outcome::bad;
  outcome = place_parts(*overview, end, space, places);
  if (outcome != Outcome::good) return outcome;
  return check_checkpoints(*overview, {places->data(), places->size()}) && check_strip(*overview)
             ? Outcome::good
             : Outcome::bad;
}

}  // namespace qom
