#include "forge.h"

#include <algorithm>

#include "base/bytes.h"
#include "base/checksum.h"
#include "file/file_head.h"

using namespace qom;

namespace forge {
namespace {

constexpr size_t salt_bytes = sizeof(uint32_t);

// Where the frames begin, or 0 when the file head states more than there is.
size_t first_frame(const uint8_t *bytes, size_t length) {
  if (length < file_head_bytes + salt_bytes) return 0;
  const auto header = ByteReader(bytes + 12, 4).get<uint32_t>();
  if (header > length - file_head_bytes - salt_bytes) return 0;
  return file_head_bytes + header + salt_bytes;
}

}  // namespace

Bytes header_payload(PixelFormat format, uint8_t scanline_pad) {
  Bytes bytes(header_fixed_bytes);
  put(&bytes, 0, uint64_t{1000});
  bytes[8] = static_cast<uint8_t>(pixel_format_bytes_per_pixel(format) * 8);
  bytes[9] = scanline_pad;
  bytes[10] = static_cast<uint8_t>(format);
  bytes[11] = 8;
  bytes[12] = 255;
  bytes[13] = format_major;
  put(&bytes, 16, uint16_t{64});
  put(&bytes, 18, uint16_t{48});
  append(&bytes, absent_text);
  append(&bytes, absent_text);
  return bytes;
}

Bytes geometry(uint16_t width, uint16_t height, PixelFormat format, uint8_t pad) {
  Bytes bytes(12);
  put(&bytes, 0, width);
  put(&bytes, 2, height);
  bytes[8] = static_cast<uint8_t>(format);
  bytes[9] = pad;
  return bytes;
}

Bytes text(const char *text) {
  Bytes bytes;
  append(&bytes, static_cast<uint32_t>(std::strlen(text)));
  bytes.insert(bytes.end(), text, text + std::strlen(text));
  return bytes;
}

Recording::Recording(const Bytes &header, uint16_t minor) : bytes(magic, magic + sizeof magic) {
  append(&bytes, uint16_t{format_major});
  append(&bytes, minor);
  append(&bytes, static_cast<uint32_t>(header.size()));
  append(&bytes, header);
  salt = crc32c(bytes.data(), bytes.size());
  append(&bytes, salt);
  pixel_bytes = 0;
  if (minor >= format_minor_areas && header.size() > 10)
    pixel_bytes =
        static_cast<uint32_t>(pixel_format_bytes_per_pixel(static_cast<PixelFormat>(header[10])));
}

size_t Recording::add(FrameHead head, const Bytes &payload) {
  const size_t position = bytes.size();
  head.stored_length = static_cast<uint32_t>(payload.size());
  head.payload_crc = crc32c(payload.data(), payload.size());
  bytes.resize(position + frame_head_bytes);
  encode_frame_head(head, salt, bytes.data() + position);
  append(&bytes, payload);
  if (is_record_type(head.type))
    entries.push_back({static_cast<int64_t>(position), head.timestamp, head.type, 0,
                       area_of(head, pixel_bytes), head.stored_length});
  return position;
}

size_t Recording::add(uint8_t type, const Bytes &payload, uint64_t at, uint32_t raw_length,
                      uint8_t codec) {
  FrameHead head;
  head.type = type;
  head.codec = codec;
  head.timestamp = at != 0 || !is_record_type(type) ? at : time++;
  head.raw_length = raw_length;
  return add(head, payload);
}

size_t Recording::add_index(uint8_t type, IndexHead head, const std::vector<QomIndexEntry> &list,
                            const std::vector<CheckpointSpan> &checkpoints) {
  if (head.position == 0) head.position = bytes.size();
  if (head.entries == 0) head.entries = static_cast<uint32_t>(list.size());
  if (head.checkpoints == 0) head.checkpoints = static_cast<uint32_t>(checkpoints.size());
  Bytes payload;
  append(&payload, head);
  for (const QomIndexEntry &entry : list) append(&payload, entry);
  for (const CheckpointSpan &span : checkpoints) append(&payload, span);
  return add(type, payload);
}

void Recording::add_end_mark(uint64_t index_position, uint64_t records, uint64_t checkpoints,
                             size_t overview_bytes) {
  Bytes payload;
  append(&payload, EndMark{bytes.size(), index_position, records, checkpoints});
  add(frame_end_mark, payload, 0, static_cast<uint32_t>(overview_bytes));
}

void Recording::add_checkpoint(uint64_t position, uint64_t count) {
  Bytes payload;
  append(&payload, CheckpointSpan{position, count});
  add(frame_checkpoint, payload);
}

void Recording::add_head_copy() {
  const auto end = static_cast<std::ptrdiff_t>(first_frame(bytes.data(), bytes.size()));
  add(frame_head_copy, Bytes(bytes.begin(), bytes.begin() + end));
}

void Recording::finish() {
  const size_t position = bytes.size();
  if (!entries.empty()) add_index(frame_index_part, {}, entries);
  add_end_mark(position, entries.size());
}

void Recording::finish_with_overview(const std::vector<CheckpointSpan> &checkpoints,
                                     uint32_t part_entries,
                                     const std::function<void(Overview *)> &change) {
  const auto number_of = [this](uint64_t at) {
    return static_cast<size_t>(
        std::find_if(entries.begin(), entries.end(),
                     [at](const auto &e) { return static_cast<uint64_t>(e.position) == at; }) -
        entries.begin());
  };
  std::vector<Checkpoint> runs;
  for (const CheckpointSpan &span : checkpoints)
    runs.push_back({number_of(span.position), number_of(span.position) + span.count});
  std::vector<uint32_t> cuts(entries.size() / part_entries, part_entries);
  if (entries.size() % part_entries > 0)
    cuts.push_back(static_cast<uint32_t>(entries.size() % part_entries));
  Overview overview;
  make_overview(entries, runs, cuts, &overview);
  const size_t at = bytes.size();
  overview.head.position = at;
  if (change) change(&overview);
  FrameHead head;
  Array<uint8_t> payload;
  encode_overview(overview, &head, &payload);
  add(head, Bytes(payload.begin(), payload.end()));
  const size_t index = bytes.size();
  size_t first = 0;
  size_t run = 0;
  for (const uint32_t cut : cuts) {
    const auto begin = entries.begin() + static_cast<std::ptrdiff_t>(first);
    std::vector<CheckpointSpan> spans;
    for (; run < runs.size() && runs[run].first < first + cut; ++run)
      spans.push_back(checkpoints[run]);
    add_index(frame_index_part, {0, 0, first, 0, 0}, {begin, begin + cut}, spans);
    first += cut;
  }
  add_end_mark(index, entries.size(), checkpoints.size(), index - at);
}

void repair(uint8_t *bytes, size_t length, bool places) {
  const size_t frames = first_frame(bytes, length);
  if (frames == 0) return;
  size_t at = frames;
  size_t overview = 0;
  size_t overview_end = 0;
  const uint32_t salt = crc32c(bytes, at - salt_bytes);
  ByteWriter(bytes + at - salt_bytes).put(salt);
  while (length - at >= frame_head_bytes) {
    if (std::memcmp(bytes + at, sync_word, sizeof sync_word) != 0) {
      const uint8_t *next =
          std::search(bytes + at + 1, bytes + length, sync_word, sync_word + sizeof sync_word);
      at = static_cast<size_t>(next - bytes);
      continue;
    }
    FrameHead head;
    decode_frame_head(bytes + at, 0, &head);
    uint8_t *payload = bytes + at + frame_head_bytes;
    const size_t left = length - at - frame_head_bytes;
    const bool whole = head.stored_length <= left;
    const bool has_place = ((head.type >= frame_index_block && head.type <= frame_end_mark) ||
                            head.type == frame_overview) &&
                           head.stored_length >= 8;
    if (whole && places && has_place) ByteWriter(payload).put(uint64_t{at});
    if (whole && head.type == frame_overview) overview = at;
    if (whole && head.type == frame_overview)
      overview_end = at + frame_head_bytes + head.stored_length;
    if (whole && places && head.type == frame_end_mark && head.stored_length == end_mark_bytes &&
        overview > 0) {
      ByteWriter(payload + 8).put(uint64_t{overview_end});
      head.raw_length = static_cast<uint32_t>(overview_end - overview);
    }
    if (whole && places && head.type == frame_head_copy && head.stored_length == frames)
      std::memcpy(payload, bytes, frames);
    if (whole) head.payload_crc = crc32c(payload, head.stored_length);
    encode_frame_head(head, salt, bytes + at);
    at += frame_head_bytes + (whole ? head.stored_length : 0);
  }
}

bool load(const char *path, IndexSource source, Index *index) {
  File file;
  if (!file.open(path)) return false;
  Window window(&file);
  FileHead head;
  return read_file_head(file, &window, &head) &&
         load_index(file, &window, frame_space(head), source, index);
}

}  // namespace forge
