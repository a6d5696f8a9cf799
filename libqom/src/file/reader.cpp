// The reader's C interface: opening, the index, records, scanning.
#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>
#include <utility>

#include "base/array.h"
#include "base/error.h"
#include "file/catalog.h"
#include "file/file_head.h"
#include "file/format.h"
#include "file/marks.h"
#include "file/origins.h"
#include "file/payload.h"
#include "file/reader.h"
#include "file/record_source.h"
#include "file/scan_events.h"
#include "file/source.h"
#include "qom/qom.h"

using namespace qom;

struct QomReader {
  explicit QomReader(std::unique_ptr<Source> bytes) : source(std::move(bytes)) {}

  std::unique_ptr<Source> source;
  Window window{source.get()};
  RecordSource records{source.get(), &window};
  Catalog catalog{source.get(), &window};
  FileHead head;
  FrameSpace space = {};

  Marks marks;
  bool marks_found = false;

  Origins origins;
  bool origins_found = false;
};

namespace {

bool read_head(QomReader *reader) {
  FileHead head;
  if (!read_file_head(*reader->source, &reader->window, &head)) return false;
  const ImageFormat format = {head.header->pixel_format, head.header->scanline_pad};
  reader->space = frame_space(head);
  reader->records.set_format(head.salt, format);
  reader->catalog.set_space(reader->space);
  reader->head = std::move(head);
  return true;
}

// False with the reason when the index or the file could not be read.
bool find_all_marks(QomReader *reader) {
  const Index *index = reader->catalog.all();
  if (!index) return false;
  if (reader->marks_found) return true;
  reader->marks.clear();
  reader->marks_found =
      find_marks(*reader->source, &reader->window, reader->space, *index, &reader->marks);
  return reader->marks_found;
}

void refuse_memory() {
  errno = ENOMEM;
  set_error("out of memory");
}

// A reader of the source, which it takes over; null with the reason.
QomReader *open_reader(std::unique_ptr<Source> source) {
  std::unique_ptr<QomReader> reader(new (std::nothrow) QomReader(std::move(source)));
  if (!reader) {
    refuse_memory();
    return nullptr;
  }
  if (!read_head(reader.get())) {
    const int saved = errno;
    reader.reset();
    errno = saved;
    return nullptr;
  }
  return reader.release();
}

// A source of the type that opens; null with the reason.
template <typename Kind, typename From>
std::unique_ptr<Source> open_kind(const From &from) {
  std::unique_ptr<Kind> source(new (std::nothrow) Kind);
  if (!source) refuse_memory();
  if (!source || source->open(from)) return source;
  const int saved = errno;
  source.reset();
  errno = saved;
  return nullptr;
}

}  // namespace

namespace qom {

size_t reader_count(QomReader *reader) {
  return qom_reader_index_length(reader);
}

bool reader_entry(QomReader *reader, size_t index, QomIndexEntry *entry) {
  return reader->catalog.entry(index, entry);
}

size_t reader_count_until(QomReader *reader, uint64_t time) {
  uint64_t records = 0;
  return reader->catalog.count_before(time, true, &records) ? static_cast<size_t>(records) : 0;
}

size_t reader_first_image(QomReader *reader) {
  uint64_t record = 0;
  return reader->catalog.first_image(&record) ? static_cast<size_t>(record) : 0;
}

void reader_expect(QomReader *reader, size_t first, size_t end) {
  QomIndexEntry begin;
  QomIndexEntry last;
  if (first >= end || !reader->source->far() || !reader->catalog.entry(first, &begin) ||
      !reader->catalog.entry(end - 1, &last))
    return;
  reader->records.expect(static_cast<uint64_t>(begin.position),
                         static_cast<uint64_t>(last.position) + frame_head_bytes + last.length);
}

uint64_t reader_generation(const QomReader *reader) {
  return reader->catalog.generation();
}

}  // namespace qom

extern "C" {

QomReader *qom_reader_open(const char *path) {
  std::unique_ptr<Source> source = open_kind<File>(path);
  return source ? open_reader(std::move(source)) : nullptr;
}

QomReader *qom_reader_open_source(const QomSource *source) {
  if (!source || !source->size || !source->read) {
    errno = EINVAL;
    set_error("a source without its functions");
    return nullptr;
  }
  std::unique_ptr<Source> functions = open_kind<Functions>(*source);
  return functions ? open_reader(std::move(functions)) : nullptr;
}

QomReader *qom_reader_open_memory(const void *bytes, size_t length) {
  std::unique_ptr<Source> memory(new (std::nothrow) Memory(bytes, length));
  if (memory) return open_reader(std::move(memory));
  refuse_memory();
  return nullptr;
}

uint64_t qom_index_entry_area(const QomIndexEntry *entry) {
  return decode_area(entry->area);
}

int qom_reader_close(QomReader *reader) {
  if (!reader) return 0;
  const int result = reader->source->close();
  const int saved = errno;
  delete reader;
  errno = saved;
  return result;
}

const QomHeader *qom_info_header(QomReader *reader) {
  return reader->head.header.get();
}

QomIndexEntry *qom_reader_index(QomReader *reader) {
  Index *index = reader->catalog.all();
  if (!index) return nullptr;
  if (index->entries.empty()) return QOM_REFUSE(nullptr, "the recording holds no records");
  return index->entries.data();
}

size_t qom_reader_index_length(QomReader *reader) {
  uint64_t records = 0;
  return reader->catalog.count(&records) ? static_cast<size_t>(records) : 0;
}

size_t qom_index_at_time(QomReader *reader, uint64_t time) {
  uint64_t before = 0;
  if (!reader->catalog.count_before(time, false, &before)) return 0;
  const size_t length = qom_reader_index_length(reader);
  return length == 0 ? 0 : std::min(static_cast<size_t>(before), length - 1);
}

QomRecord *qom_record_at_index(QomReader *reader, size_t index) {
  QomIndexEntry entry;
  return reader->catalog.entry(index, &entry) ? reader->records.read(entry) : nullptr;
}

int qom_checkpoint_before(QomReader *reader, size_t index, size_t *first, size_t *end) {
  Checkpoint checkpoint;
  if (!reader->catalog.checkpoint_before(index, &checkpoint) || checkpoint.end == 0) return 0;
  *first = checkpoint.first;
  *end = checkpoint.end;
  return 1;
}

int qom_reader_activity(QomReader *reader, QomActivity *activity) {
  const Strip *strip = reader->catalog.activity();
  if (!strip) return -1;
  *activity = {strip->start, strip->width, strip->steps.size(), strip->steps.data()};
  return 0;
}

const QomGap *qom_reader_gaps(QomReader *reader, size_t *count) {
  *count = 0;
  if (!find_all_marks(reader)) return nullptr;
  *count = reader->marks.gaps.size();
  if (*count == 0) return QOM_REFUSE(nullptr, "everything was recorded");
  return reader->marks.gaps.data();
}

const QomFilmArea *qom_reader_film_areas(QomReader *reader, size_t *count) {
  *count = 0;
  if (!find_all_marks(reader)) return nullptr;
  *count = reader->marks.film.size();
  if (*count == 0) return QOM_REFUSE(nullptr, "no film was held back");
  return reader->marks.film.data();
}

const QomOrigin *qom_reader_origins(QomReader *reader, size_t *count) {
  *count = 0;
  QomIndexEntry last;
  uint64_t records = 0;
  if (!reader->catalog.count(&records) ||
      (records > 0 && !reader->catalog.entry(records - 1, &last)))
    return nullptr;
  if (!reader->origins_found) {
    const uint64_t from =
        records == 0 ? reader->space.first_frame
                     : static_cast<uint64_t>(last.position) + frame_head_bytes + last.length;
    if (!reader->origins.find(&reader->window, reader->space.salt, from, reader->source->size()))
      return nullptr;
    reader->origins_found = true;
  }
  *count = reader->origins.size();
  if (*count == 0) return QOM_REFUSE(nullptr, "the recording is no cut");
  return reader->origins.data();
}

const char *qom_reader_state_to_string(QomReaderState state) {
  switch (state) {
    case QOM_STATE_FINISHED:
      return "finished";
    case QOM_STATE_UNFINISHED:
      return "unfinished";
    default:
      return "damaged";
  }
}

int qom_reader_info(QomReader *reader, QomReaderInfo *info) {
  if (!reader->catalog.info(info)) return -1;
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
  const ScanSource source = {reader->source.get(), &reader->window, &reader->records,
                             &reader->space, reader->head.copied_from};
  return scan_frames(source, visit, context);
}

}  // extern "C"
