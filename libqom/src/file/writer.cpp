// The writer: appends frames to a new file, keeps the entries for the index.
#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>
#include <string>

#include "base/array.h"
#include "base/bytes.h"
#include "base/checksum.h"
#include "base/error.h"
#include "base/records.h"
#include "file/format.h"
#include "file/index.h"
#include "file/marks.h"
#include "file/origins.h"
#include "file/overview.h"
#include "file/payload.h"
#include "qom/writer.h"

using namespace qom;

namespace {

constexpr int64_t sync_interval = 1'000'000'000;  // nanoseconds

int64_t monotonic_now() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

// A reason is stored already; the records that follow may still be written.
int invalid() {
  errno = EINVAL;
  return -1;
}

int invalid(const char *reason) {
  set_error("%s", reason);
  return invalid();
}

// Record types that a checkpoint has to restate once they have been written: one bit each.
constexpr uint32_t restated_types = 1u << QOM_CURSOR_IMAGE | 1u << QOM_LAST_INPUT |
                                    1u << QOM_FOOTER_ITEM_APP | 1u << QOM_FOOTER_ITEM_HOST |
                                    1u << QOM_FOOTER_ITEM_IP | 1u << QOM_FOOTER_ITEM_SID |
                                    1u << QOM_FOOTER_ITEM_TID | 1u << QOM_FOOTER_ITEM_APPFMT;

}  // namespace

struct QomWriter {
  int fd = -1;
  uint64_t position = 0;  // end of the file, bytes
  uint32_t salt = 0;
  ImageFormat format = {};
  bool may_copy = false;  // areas of the picture
  uint32_t pixel_bytes = 0;
  std::atomic<int> failed = 0;  // errno of the first write or sync that failed
  uint64_t last_time = 0;
  bool flushed_apart = false;       // perhaps by another thread, beside what appends
  int64_t last_sync = 0;            // monotonic, nanoseconds
  std::atomic<bool> dirty = false;  // bytes were written since

  Array<QomIndexEntry> entries;
  Array<CheckpointSpan> checkpoints;
  size_t indexed_entries = 0;  // of these, in index blocks
  size_t indexed_checkpoints = 0;
  uint64_t indexed_position = 0;  // end of the last index block, or of the file head
  uint64_t last_block = 0;        // position of the last index block, 0 for none

  Array<uint8_t> head;         // the file head, for its copies
  uint64_t head_copy_end = 0;  // end of the last copy, bytes

  uint32_t written_types = 0;  // ever, one bit each
  struct {
    bool open = false;
    size_t first = 0;    // number of its first record
    uint32_t types = 0;  // written in it
    uint16_t width = 0;  // of its screen change
    uint16_t height = 0;
    bool whole_image = false;  // of that size
  } checkpoint;
};

namespace {

int fail(QomWriter *writer, const char *what) {
  const int reason = errno;
  int none = 0;
  writer->failed.compare_exchange_strong(none, reason);
  errno = reason;
  set_system_error("cannot %s the recording", what);
  return -1;
}

// Writes all parts at the end of the file.
int write_parts(QomWriter *writer, struct iovec *parts, int count) {
  while (count > 0) {
    if (parts->iov_len == 0) {
      ++parts;
      --count;
      continue;
    }
    ssize_t done = writev(writer->fd, parts, count);
    if (done < 0 && errno == EINTR) continue;
    if (done == 0) errno = EIO;
    if (done <= 0) return fail(writer, "write");
    writer->position += static_cast<uint64_t>(done);
    writer->dirty = true;
    while (done > 0) {
      const size_t step = std::min(parts->iov_len, static_cast<size_t>(done));
      parts->iov_base = static_cast<uint8_t *>(parts->iov_base) + step;
      parts->iov_len -= step;
      done -= static_cast<ssize_t>(step);
      if (parts->iov_len > 0) break;
      ++parts;
      --count;
    }
  }
  return 0;
}

int sync(QomWriter *writer) {
  writer->dirty = false;  // what is written while the disk is busy is not part of this sync
  if (fdatasync(writer->fd) != 0) return fail(writer, "store");
  writer->last_sync = monotonic_now();
  return 0;
}

int sync_if_due(QomWriter *writer) {
  const bool due = !writer->flushed_apart && monotonic_now() - writer->last_sync >= sync_interval;
  return due ? sync(writer) : 0;
}

// Completes the head with lengths and checksums and writes the frame.
int write_frame(QomWriter *writer, FrameHead head, const struct iovec *payload, int count) {
  struct iovec parts[1 + EncodedPayload::max_parts];
  Crc32c crc;
  head.stored_length = 0;
  for (int i = 0; i < count; ++i) {
    crc.add(payload[i].iov_base, payload[i].iov_len);
    head.stored_length += static_cast<uint32_t>(payload[i].iov_len);
    parts[1 + i] = payload[i];
  }
  head.payload_crc = crc.value();
  uint8_t bytes[frame_head_bytes];
  encode_frame_head(head, writer->salt, bytes);
  parts[0] = {bytes, sizeof bytes};
  return write_parts(writer, parts, 1 + count);
}

int write_index(QomWriter *writer, uint8_t type, uint64_t previous, size_t first, size_t count,
                const CheckpointSpan *spans, size_t span_count) {
  const IndexHead head = {writer->position, previous, first, static_cast<uint32_t>(count),
                          static_cast<uint32_t>(span_count)};
  const struct iovec parts[] = {
      {const_cast<IndexHead *>(&head), sizeof head},
      {writer->entries.data() + first, count * sizeof(QomIndexEntry)},
      {const_cast<CheckpointSpan *>(spans), span_count * sizeof(CheckpointSpan)}};
  FrameHead frame;
  frame.type = type;
  return write_frame(writer, frame, parts, 3);
}

int write_index_block(QomWriter *writer) {
  const uint64_t block = writer->position;
  const size_t first = writer->indexed_entries;
  if (write_index(writer, frame_index_block, writer->last_block, first,
                  writer->entries.size() - first,
                  writer->checkpoints.data() + writer->indexed_checkpoints,
                  writer->checkpoints.size() - writer->indexed_checkpoints) != 0)
    return -1;
  writer->last_block = block;
  writer->indexed_entries = writer->entries.size();
  writer->indexed_checkpoints = writer->checkpoints.size();
  writer->indexed_position = writer->position;
  return 0;
}

int write_head_copy(QomWriter *writer) {
  const struct iovec part = {writer->head.data(), writer->head.size()};
  FrameHead head;
  head.type = frame_head_copy;
  if (write_frame(writer, head, &part, 1) != 0) return -1;
  writer->head_copy_end = writer->position;
  return 0;
}

int write_head_copy_if_due(QomWriter *writer) {
  const uint64_t due = std::max(head_copy_bytes, head_copy_share * writer->head.size());
  return writer->position - writer->head_copy_end < due ? 0 : write_head_copy(writer);
}

int write_index_block_if_due(QomWriter *writer) {
  const size_t waiting = writer->entries.size() - writer->indexed_entries;
  if (writer->checkpoint.open || waiting == 0) return 0;
  if (waiting < index_block_entries &&
      writer->position - writer->indexed_position < index_block_bytes)
    return 0;
  return write_head_copy_if_due(writer) != 0 ? -1 : write_index_block(writer);
}

// The checkpoints as runs of records.
bool list_checkpoints(const QomWriter *writer, Array<Checkpoint> *checkpoints) {
  for (const CheckpointSpan &span : writer->checkpoints) {
    const QomIndexEntry *first =
        std::lower_bound(writer->entries.begin(), writer->entries.end(), span.position,
                         [](const QomIndexEntry &entry, uint64_t position) {
                           return static_cast<uint64_t>(entry.position) < position;
                         });
    const auto number = static_cast<size_t>(first - writer->entries.begin());
    if (!checkpoints->push({number, number + span.count})) return false;
  }
  return true;
}

// How many entries each index part has.
bool cut_into_parts(const QomWriter *writer, Array<uint32_t> *part_entries) {
  for (size_t left = writer->entries.size(); left > 0;) {
    const size_t count = std::min<size_t>(index_part_entries, left);
    if (!part_entries->push(static_cast<uint32_t>(count))) return false;
    left -= count;
  }
  return true;
}

bool describe_index(const QomWriter *writer, FrameHead *frame, Array<uint8_t> *payload) {
  Array<uint32_t> part_entries;
  Array<Checkpoint> checkpoints;
  Overview overview;
  return cut_into_parts(writer, &part_entries) && list_checkpoints(writer, &checkpoints) &&
         make_overview({writer->entries.data(), writer->entries.size()},
                       {checkpoints.data(), checkpoints.size()},
                       {part_entries.data(), part_entries.size()}, &overview) &&
         encode_overview(overview, frame, payload);
}

// Where memory for the overview is short there is none: it is a matter of speed alone.
int write_overview(QomWriter *writer) {
  FrameHead head;
  Array<uint8_t> payload;
  if (!describe_index(writer, &head, &payload)) return 0;
  ByteWriter(payload.data()).put(writer->position);
  const struct iovec part = {payload.data(), payload.size()};
  return write_frame(writer, head, &part, 1);
}

// The full index in parts, each with the checkpoints that begin in it.
int write_index_parts(QomWriter *writer) {
  size_t span = 0;
  for (size_t first = 0; first < writer->entries.size(); first += index_part_entries) {
    const size_t count = std::min<size_t>(index_part_entries, writer->entries.size() - first);
    const size_t first_span = span;
    const auto last = static_cast<uint64_t>(writer->entries[first + count - 1].position);
    while (span < writer->checkpoints.size() && writer->checkpoints[span].position <= last) ++span;
    if (write_index(writer, frame_index_part, 0, first, count,
                    writer->checkpoints.data() + first_span, span - first_span) != 0)
      return -1;
  }
  return 0;
}

// The overview, the full index and the end mark.
int write_end(QomWriter *writer) {
  const uint64_t overview = writer->position;
  if (write_overview(writer) != 0) return -1;
  EndMark mark = {0, writer->position, writer->entries.size(), writer->checkpoints.size()};
  if (write_index_parts(writer) != 0) return -1;
  mark.position = writer->position;
  const struct iovec part = {&mark, sizeof mark};
  FrameHead head;
  head.type = frame_end_mark;
  head.raw_length = static_cast<uint32_t>(mark.index_position - overview);
  return write_frame(writer, head, &part, 1);
}

// Puts the bytes of the file head together. False when memory is short.
bool make_file_head(QomWriter *writer, const EncodedPayload &header, uint8_t major) {
  const size_t checked = file_head_bytes + header.length;
  if (!writer->head.resize(checked + sizeof writer->salt)) {
    errno = ENOMEM;
    set_error("out of memory for the header");
    return false;
  }
  ByteWriter bytes(writer->head.data());
  bytes.put_bytes(magic, sizeof magic)
      .put(uint16_t{major})
      .put(uint16_t{major == format_major ? format_minor : format_minor_copies})
      .put(header.length);
  for (int i = 0; i < header.part_count; ++i)
    bytes.put_bytes(header.parts[i].iov_base, header.parts[i].iov_len);
  writer->salt = crc32c(writer->head.data(), checked);
  bytes.put(writer->salt);
  return true;
}

// The head, and its first copy at once: one wrong byte must not cost a whole recording.
int write_file_head(QomWriter *writer) {
  struct iovec part = {writer->head.data(), writer->head.size()};
  return write_parts(writer, &part, 1) != 0 ? -1 : write_head_copy(writer);
}

// Makes the new name itself survive a crash of the machine; file systems that cannot do that
// for folders are not an error.
void sync_folder(const char *path) {
  const char *slash = std::strrchr(path, '/');
  char folder[PATH_MAX] = ".";
  if (slash) {
    const size_t length = std::max<size_t>(static_cast<size_t>(slash - path), 1);
    if (length >= sizeof folder) return;
    std::memcpy(folder, path, length);
    folder[length] = 0;
  }
  const int fd = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  fsync(fd);
  close(fd);
}

// What a checkpoint is judged by.
void note_in_checkpoint(QomWriter *writer, const QomRecord *record) {
  auto &checkpoint = writer->checkpoint;
  checkpoint.types |= 1u << record->type;
  if (record->type == QOM_SCREEN_CHANGE) {
    auto change = reinterpret_cast<const QomScreenChange *>(record);
    checkpoint.width = change->width;
    checkpoint.height = change->height;
    checkpoint.whole_image = false;
  } else if (record->type == QOM_COMPRESSED_IMAGE) {
    auto image = reinterpret_cast<const QomCompressedImage *>(record);
    if (image->x == 0 && image->y == 0 && image->width == checkpoint.width &&
        image->height == checkpoint.height)
      checkpoint.whole_image = true;
  }
}

// Keeps the record's place for the index; the memory is reserved before anything is written.
int reserve_entry(QomWriter *writer, const FrameHead &head, uint32_t length) {
  QomIndexEntry entry = {};
  entry.position = static_cast<int64_t>(writer->position);
  entry.timestamp = head.timestamp;
  entry.type = head.type;
  entry.area = area_of(head, writer->pixel_bytes);
  entry.flags = flags_of(head);
  entry.length = length;
  if (writer->entries.push(entry)) return 0;
  errno = ENOMEM;
  set_error("out of memory for the index");
  return -1;
}

int refuse_after_failure(const QomWriter *writer) {
  errno = writer->failed;
  set_system_error("the recording could not be written before");
  return -1;
}

}  // namespace

extern "C" {

QomWriter *qom_writer_create(const char *path, const QomHeader *header) {
  if (!path || !header) {
    invalid("no path or no header");
    return nullptr;
  }
  EncodedPayload payload;
  const uint8_t major = header->version == format_major_copies ? format_major_copies : format_major;
  if (!check_header(header) || !encode_header(header, major, &payload)) {
    invalid();
    return nullptr;
  }
  std::unique_ptr<QomWriter> writer(new (std::nothrow) QomWriter);
  if (!writer) {
    errno = ENOMEM;
    set_error("out of memory");
    return nullptr;
  }
  if (!make_file_head(writer.get(), payload, major)) return nullptr;
  writer->fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOCTTY, 0600);
  if (writer->fd < 0) {
    set_system_error("cannot create the file");
    return nullptr;
  }
  writer->format = {header->pixel_format, header->scanline_pad};
  writer->may_copy = major == format_major_copies;
  writer->pixel_bytes = static_cast<uint32_t>(pixel_format_bytes_per_pixel(header->pixel_format));
  writer->last_time = header->timestamp;
  if (write_file_head(writer.get()) != 0 || sync(writer.get()) != 0) {
    const int saved = errno;
    close(writer->fd);
    unlink(path);
    errno = saved;
    return nullptr;
  }
  sync_folder(path);
  writer->indexed_position = writer->position;
  return writer.release();
}

int qom_writer_append(QomWriter *writer, const void *data) {
  if (writer->failed != 0) return refuse_after_failure(writer);
  auto record = static_cast<const QomRecord *>(data);
  if (!record) return invalid("no record");
  if (record->timestamp < writer->last_time || record->timestamp > QOM_MAX_TIME) {
    set_error("a record at %llu microseconds after one at %llu",
              static_cast<unsigned long long>(record->timestamp),
              static_cast<unsigned long long>(writer->last_time));
    return invalid();
  }
  if (record->type == QOM_COPY_AREA && !writer->may_copy)
    return invalid("copies of areas in a recording of version 1");
  EncodedPayload payload;
  if (!encode_payload(record, writer->format, &payload)) return invalid();
  if (write_index_block_if_due(writer) != 0) return -1;
  FrameHead head;
  head.type = record->type;
  head.codec = payload.codec;
  head.timestamp = record->timestamp;
  head.raw_length = payload.raw_length;
  if (reserve_entry(writer, head, payload.length) != 0) return -1;
  if (write_frame(writer, head, payload.parts, payload.part_count) != 0) return -1;
  writer->last_time = record->timestamp;
  writer->written_types |= 1u << record->type;
  if (writer->checkpoint.open) note_in_checkpoint(writer, record);
  return sync_if_due(writer);
}

int qom_writer_gap(QomWriter *writer, const QomGap *gap) {
  if (writer->failed != 0) return refuse_after_failure(writer);
  if (!gap || !is_gap(*gap))
    return invalid("a stretch without a reason, or one that ends before it begins or too late");
  if (writer->checkpoint.open) return invalid("a checkpoint has records alone");
  GapMark mark = {gap->begin, gap->end, gap->clock_offset, gap->reason, {}};
  const struct iovec part = {&mark, sizeof mark};
  FrameHead head;
  head.type = frame_gap;
  if (write_frame(writer, head, &part, 1) != 0) return -1;
  return sync_if_due(writer);
}

int qom_writer_film_area(QomWriter *writer, const QomFilmArea *film) {
  if (writer->failed != 0) return refuse_after_failure(writer);
  if (!film || !is_film_area(*film))
    return invalid("film whose times, area or quality are not allowed");
  if (writer->checkpoint.open) return invalid("a checkpoint has records alone");
  FilmAreaMark mark = {film->begin,  film->end,  film->x,       film->y, film->width,
                       film->height, film->rate, film->quality, {}};
  const struct iovec part = {&mark, sizeof mark};
  FrameHead head;
  head.type = frame_film_area;
  if (write_frame(writer, head, &part, 1) != 0) return -1;
  return sync_if_due(writer);
}

int qom_writer_origin(QomWriter *writer, const QomOrigin *origin) {
  if (writer->failed != 0) return refuse_after_failure(writer);
  if (!origin || !is_origin(*origin))
    return invalid("an origin whose times, name or masks are not allowed");
  if (writer->checkpoint.open) return invalid("a checkpoint has records alone");
  Array<uint8_t> payload;
  if (!encode_origin(*origin, &payload)) {
    errno = ENOMEM;
    set_error("out of memory for an origin");
    return -1;
  }
  const struct iovec part = {payload.data(), payload.size()};
  FrameHead head;
  head.type = frame_origin;
  if (write_frame(writer, head, &part, 1) != 0) return -1;
  return sync_if_due(writer);
}

uint64_t qom_writer_size(const QomWriter *writer) {
  return writer->position;
}

int qom_writer_flush(QomWriter *writer) {
  if (writer->failed != 0) return refuse_after_failure(writer);
  return writer->dirty ? sync(writer) : 0;
}

void qom_writer_flush_apart(QomWriter *writer) {
  writer->flushed_apart = true;
}

int qom_writer_begin_checkpoint(QomWriter *writer) {
  if (writer->failed != 0) return refuse_after_failure(writer);
  if (writer->checkpoint.open) return invalid("a checkpoint is open already");
  if (write_index_block_if_due(writer) != 0) return -1;
  writer->checkpoint = {};
  writer->checkpoint.open = true;
  writer->checkpoint.first = writer->entries.size();
  return 0;
}

int qom_writer_end_checkpoint(QomWriter *writer) {
  if (writer->failed != 0) return refuse_after_failure(writer);
  auto &checkpoint = writer->checkpoint;
  if (!checkpoint.open) return invalid("no checkpoint is open");
  checkpoint.open = false;
  const size_t count = writer->entries.size() - checkpoint.first;
  if (!checkpoint.whole_image)
    return invalid("a checkpoint without a screen change and a full image of that size");
  if ((writer->written_types & restated_types & ~checkpoint.types) != 0)
    return invalid("a checkpoint that does not restate the cursor or all texts");
  if (count > max_checkpoint_records) return invalid("a checkpoint of too many records");

  CheckpointSpan span = {static_cast<uint64_t>(writer->entries[checkpoint.first].position), count};
  if (!writer->checkpoints.push(span)) {
    errno = ENOMEM;
    set_error("out of memory for a checkpoint");
    return -1;
  }
  const struct iovec part = {&span, sizeof span};
  FrameHead head;
  head.type = frame_checkpoint;
  return write_frame(writer, head, &part, 1);
}

int qom_writer_close(QomWriter *writer) {
  if (!writer) return 0;
  int result = 0;
  if (writer->failed != 0)
    result = refuse_after_failure(writer);
  else if (write_head_copy(writer) != 0 || write_end(writer) != 0 || sync(writer) != 0)
    result = -1;
  const int saved = errno;
  if (close(writer->fd) != 0 && result == 0) {
    set_system_error("cannot close the recording");
    result = -1;
  } else {
    errno = saved;
  }
  delete writer;
  return result;
}

}  // extern "C"
