// The reader's C interface: opening, the index, records, scanning.
#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>
#include <utility>

#include "base/error.h"
#include "file/file.h"
#include "file/file_head.h"
#include "file/format.h"
#include "file/gaps.h"
#include "file/index.h"
#include "file/origins.h"
#include "file/payload.h"
#include "file/reader.h"
#include "file/record_source.h"
#include "file/scan_events.h"
#include "qom/qom.h"

using namespace qom;

struct QomReader {
  File file;
  Window window{file};
  RecordSource records{&file, &window};
  FileHead head;
  FrameSpace space = {};

  Index index;
  bool index_tried = false;
  bool index_good = false;
  int index_errno = 0;  // of a failed try

  Array<QomGap> gaps;
  bool gaps_found = false;

  Origins origins;
  bool origins_found = false;
};

namespace {

bool read_head(QomReader *reader) {
  FileHead head;
  if (!read_file_head(reader->file, &reader->window, &head)) return false;
  const ImageFormat format = {head.header->pixel_format, head.header->scanline_pad};
  reader->space = {head.salt, head.length, head.header->timestamp};
  reader->records.set_format(head.salt, format);
  reader->head = std::move(head);
  return true;
}

bool build_index(QomReader *reader) {
  if (!reader->index_tried) {
    reader->index_tried = true;
    reader->index_good = load_index(reader->file, &reader->window, reader->space,
                                    IndexSource::end_mark, &reader->index);
    reader->index_errno = reader->index_good ? 0 : errno;
  }
  if (!reader->index_good) errno = reader->index_errno;
  return reader->index_good;
}

}  // namespace

namespace qom {

size_t reader_count(QomReader *reader) {
  return qom_reader_index_length(reader);
}

bool reader_entry(QomReader *reader, size_t index, QomIndexEntry *entry) {
  if (!build_index(reader)) return false;
  *entry = reader->index.entries[index];
  return true;
}

size_t reader_count_until(QomReader *reader, uint64_t time) {
  if (!build_index(reader)) return 0;
  const auto &entries = reader->index.entries;
  const QomIndexEntry *found =
      std::upper_bound(entries.begin(), entries.end(), time,
                       [](uint64_t t, const QomIndexEntry &entry) { return t < entry.timestamp; });
  return static_cast<size_t>(found - entries.begin());
}

void reader_expect(QomReader *, size_t, size_t) {}

}  // namespace qom

extern "C" {

QomReader *qom_reader_open(const char *path) {
  std::unique_ptr<QomReader> reader(new (std::nothrow) QomReader);
  if (!reader) {
    errno = ENOMEM;
    set_error("out of memory");
    return nullptr;
  }
  if (!reader->file.open(path) || !read_head(reader.get())) {
    const int saved = errno;
    reader.reset();
    errno = saved;
    return nullptr;
  }
  return reader.release();
}

int qom_reader_close(QomReader *reader) {
  if (!reader) return 0;
  const int result = reader->file.close();
  const int saved = errno;
  delete reader;
  errno = saved;
  return result;
}

const QomHeader *qom_info_header(QomReader *reader) {
  return reader->head.header.get();
}

QomIndexEntry *qom_reader_index(QomReader *reader) {
  if (!build_index(reader)) return nullptr;
  if (reader->index.entries.empty()) return QOM_REFUSE(nullptr, "the recording holds no records");
  return reader->index.entries.data();
}

size_t qom_reader_index_length(QomReader *reader) {
  return build_index(reader) ? reader->index.entries.size() : 0;
}

size_t qom_index_at_time(QomReader *reader, uint64_t time) {
  const size_t length = qom_reader_index_length(reader);
  if (length == 0) return 0;
  const auto &entries = reader->index.entries;
  const QomIndexEntry *found =
      std::lower_bound(entries.begin(), entries.end(), time,
                       [](const QomIndexEntry &entry, uint64_t t) { return entry.timestamp < t; });
  return std::min(static_cast<size_t>(found - entries.begin()), length - 1);
}

QomRecord *qom_record_at_index(QomReader *reader, size_t index) {
  if (!build_index(reader)) return nullptr;
  if (index >= reader->index.entries.size()) {
    errno = EINVAL;
    set_error("no record %zu in a recording of %zu", index, reader->index.entries.size());
    return nullptr;
  }
  return reader->records.read(reader->index.entries[index]);
}

int qom_checkpoint_before(QomReader *reader, size_t index, size_t *first, size_t *end) {
  if (!build_index(reader)) return 0;
  const auto &checkpoints = reader->index.checkpoints;
  const Checkpoint *after =
      std::upper_bound(checkpoints.begin(), checkpoints.end(), index,
                       [](size_t i, const Checkpoint &checkpoint) { return i < checkpoint.first; });
  if (after == checkpoints.begin()) return 0;
  *first = after[-1].first;
  *end = after[-1].end;
  return 1;
}

const QomGap *qom_reader_gaps(QomReader *reader, size_t *count) {
  *count = 0;
  if (!build_index(reader)) return nullptr;
  if (!reader->gaps_found) {
    reader->gaps.clear();
    if (!find_gaps(reader->file, &reader->window, reader->space, reader->index, &reader->gaps))
      return nullptr;
    reader->gaps_found = true;
  }
  *count = reader->gaps.size();
  if (*count == 0) return QOM_REFUSE(nullptr, "everything was recorded");
  return reader->gaps.data();
}

const QomOrigin *qom_reader_origins(QomReader *reader, size_t *count) {
  *count = 0;
  QomIndexEntry last;
  const size_t records = reader_count(reader);
  if (!build_index(reader) || (records > 0 && !reader_entry(reader, records - 1, &last)))
    return nullptr;
  if (!reader->origins_found) {
    const uint64_t from = records == 0 ? reader->space.first_frame
                                       : static_cast<uint64_t>(last.position) + frame_head_bytes +
                                             last.length;
    if (!reader->origins.find(&reader->window, reader->space.salt, from, reader->file.size()))
      return nullptr;
    reader->origins_found = true;
  }
  *count = reader->origins.size();
  if (*count == 0) return QOM_REFUSE(nullptr, "the recording is no cut");
  return reader->origins.data();
}

int qom_reader_info(QomReader *reader, QomReaderInfo *info) {
  if (!build_index(reader)) return -1;
  *info = reader->index.info;
  info->major_version = reader->head.major_version;
  info->minor_version = reader->head.minor_version;
  if (reader->head.copied_from != 0) {
    info->head_recovered = 1;
    info->state = QOM_STATE_DAMAGED;
  }
  return 0;
}

const char *qom_reader_error(void) {
  return last_error();
}

int qom_reader_scan(QomReader *reader, int (*visit)(void *, const QomScanEvent *), void *context) {
  const ScanSource source = {&reader->file, &reader->window, &reader->records, &reader->space,
                             reader->head.copied_from};
  return scan_frames(source, visit, context);
}

}  // extern "C"
