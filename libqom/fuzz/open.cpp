// Opens the input as a recording and uses everything that a reader offers.
#include <algorithm>
#include <cerrno>

#include "file/reader.h"
#include "memory_file.h"
#include "qom/qom.h"
#include "repairing_mutator.h"

namespace {

using fuzz::require;

// Decompressing is looked at by another target; here it only must not take the time.
constexpr uint32_t max_decoded = 1 << 20;

void walk(const QomImageBlocks *blocks, const QomHeader *header) {
  QomImage image;
  size_t offset = 0;
  while (qom_image_blocks_next(blocks, header, &offset, &image) == 1)
    require(offset <= blocks->length, "a block lies inside its record");
}

void use(const QomRecord *record, const QomHeader *header) {
  QomRecord *copy = qom_record_dup(record);
  require(copy && copy->type == record->type, "a record that was read can be copied");
  if (record->type == QOM_IMAGE_BLOCKS)
    walk(reinterpret_cast<const QomImageBlocks *>(copy), header);
  if (record->type == QOM_COMPRESSED_IMAGE) {
    auto compressed = reinterpret_cast<const QomCompressedImage *>(copy);
    if (compressed->length <= max_decoded) qom_record_free(qom_image_uncompress(compressed));
  }
  if (record->type == QOM_COMPRESSED_IMAGE_BLOCKS) {
    auto compressed = reinterpret_cast<const QomCompressedImageBlocks *>(copy);
    QomImageBlocks *blocks =
        compressed->length <= max_decoded ? qom_image_blocks_uncompress(compressed) : nullptr;
    if (blocks) walk(blocks, header);
    qom_record_free(blocks);
  }
  qom_record_free(copy);
}

int visit(void *context, const QomScanEvent *event) {
  auto end = static_cast<int64_t *>(context);
  require(event->position == *end, "a scan leaves out no byte");
  *end = event->position + static_cast<int64_t>(event->length);
  return 0;
}

void use(QomReader *reader) {
  const QomIndexEntry *index = qom_reader_index(reader);
  const size_t length = qom_reader_index_length(reader);
  const QomHeader *header = qom_info_header(reader);
  QomReaderInfo info;
  require(qom_reader_info(reader, &info) == 0, "damage is no failure of the index");
  require(index || length == 0, "an index has a length");
  for (size_t i = 0; i < length; ++i) {
    require(i == 0 || index[i - 1].timestamp <= index[i].timestamp, "times never decrease");
    require(i == 0 || index[i - 1].position < index[i].position, "positions increase");
    QomRecord *record = qom_record_at_index(reader, i);
    require(record || errno == 0, "only bytes are at fault");
    if (record) use(record, header);
    qom_record_free(record);
    size_t first = 0;
    size_t end = 0;
    if (qom_checkpoint_before(reader, i, &first, &end))
      require(first <= i && first < end && end <= length, "a checkpoint lies in the index");
  }
  int64_t end = static_cast<int64_t>(info.file_size);
  if (length > 0) require(index[length - 1].position < end, "records lie in the file");
  qom_index_at_time(reader, header->timestamp + 1);
  size_t count = 0;
  const QomGap *gaps = qom_reader_gaps(reader, &count);
  require(gaps || count == 0, "gaps have a number");
  for (size_t i = 0; i < count; ++i)
    require(gaps[i].begin <= gaps[i].end && gaps[i].record <= length,
            "a gap lies in the recording");
  const QomFilmArea *film = qom_reader_film_areas(reader, &count);
  require(film || count == 0, "film has a number");
  for (size_t i = 0; i < count; ++i)
    require(film[i].begin <= film[i].end && film[i].record <= length && film[i].width > 0,
            "film lies in the recording");
  const QomOrigin *origins = qom_reader_origins(reader, &count);
  require(origins || count == 0, "origins have a number");
  for (size_t i = 0; i < count; ++i)
    require(
        origins[i].begin <= origins[i].end &&
            (origins[i].mask_count == 0 || origins[i].masks[origins[i].mask_count - 1].width > 0),
        "an origin is whole");
}

// The scan must tell of every byte behind the file head exactly once, and of a head that is broken.
void scan(QomReader *reader, size_t size, const uint8_t *data) {
  QomReaderInfo info;
  require(qom_reader_info(reader, &info) == 0, "the index is there");
  int64_t at = info.head_recovered ? 0 : 20 + (data[12] | data[13] << 8 | data[14] << 16);
  require(qom_reader_scan(reader, visit, &at) == 0, "a scan gets through");
  require(at == static_cast<int64_t>(size), "a scan reaches the end");
}

bool same(const QomIndexEntry &a, const QomIndexEntry &b) {
  return a.position == b.position && a.timestamp == b.timestamp && a.type == b.type &&
         a.length == b.length && a.area == b.area && a.flags == b.flags;
}

// What is answered without the index is what the index says, once every part of it was looked at.
void use_overview(QomReader *reader, QomReader *whole) {
  QomIndexEntry entry;
  QomActivity activity;
  size_t first = 0, end = 0;
  for (size_t i = 0; i < qom::reader_count(reader); ++i) {
    require(qom::reader_entry(reader, i, &entry) || errno == EINVAL, "an entry can be had");
    qom_checkpoint_before(reader, i, &first, &end);
  }
  const QomIndexEntry *index = qom_reader_index(whole);
  const size_t length = qom_reader_index_length(whole);
  require(qom::reader_count(reader) == length, "there are as many records");
  for (size_t i = 0; i < length; ++i) {
    require(qom::reader_entry(reader, i, &entry) && same(entry, index[i]), "entries are the same");
    require(qom::reader_count_until(reader, entry.timestamp) ==
                qom::reader_count_until(whole, entry.timestamp),
            "times lead to the same record");
    size_t whole_first = first = SIZE_MAX;
    size_t whole_end = end = SIZE_MAX;
    qom_checkpoint_before(reader, i, &first, &end);
    qom_checkpoint_before(whole, i, &whole_first, &whole_end);
    require(first == whole_first && end == whole_end, "checkpoints are the same");
  }
  require(qom::reader_first_image(reader) <= length, "the first image is a record");
  require(qom_reader_activity(reader, &activity) == 0 && activity.count <= 4096 &&
              activity.width > 0 && (activity.count > 0) == (length > 0),
          "a strip has its steps");
}

struct Input {
  const uint8_t *data;
  size_t size;
};

// The input as functions give it that answer with little at a time.
QomReader *open_source(Input *input) {
  const QomSource source = {
      [](void *self) { return static_cast<int64_t>(static_cast<Input *>(self)->size); },
      [](void *self, uint64_t offset, void *bytes, size_t length) {
        auto from = static_cast<Input *>(self);
        if (offset >= from->size) return int64_t{0};
        const size_t given = std::min({length, from->size - static_cast<size_t>(offset),
                                       1 + static_cast<size_t>(offset % 300)});
        std::copy_n(from->data + offset, given, static_cast<uint8_t *>(bytes));
        return static_cast<int64_t>(given);
      },
      nullptr, input};
  return qom_reader_open_source(&source);
}

}  // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size,
                                          unsigned seed) {
  return fuzz::mutate_recording(data, size, max_size, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  QomReader *reader = qom_reader_open(fuzz::memory_file(data, size));
  require(reader || errno == 0, "only bytes are at fault");
  Input input = {data, size};
  QomReader *far = open_source(&input);
  QomReader *near = qom_reader_open_memory(data, size);
  require(!far == !reader && !near == !reader, "every source opens the same");
  if (!reader) return 0;
  use(reader);
  use_overview(far, reader);
  use_overview(near, reader);
  qom_reader_close(far);
  qom_reader_close(near);
  scan(reader, size, data);
  qom_reader_close(reader);
  return 0;
}
