#include "file/scan_events.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/error.h"
#include "base/records.h"
#include "file/marks.h"
#include "file/scan.h"

namespace qom {
namespace {

// The kind of a frame that is told of by it alone.
QomScanKind plain_kind(uint8_t type) {
  switch (type) {
    case frame_index_block:
    case frame_index_part:
      return QOM_SCAN_INDEX;
    case frame_head_copy:
      return QOM_SCAN_HEAD;
    case frame_overview:
      return QOM_SCAN_OVERVIEW;
    case frame_origin:
      return QOM_SCAN_ORIGIN;
    case frame_end_mark:
      return QOM_SCAN_END;
    default:
      return QOM_SCAN_UNKNOWN;
  }
}

// One scan over a file: turns what the walker finds into events.
class Scan {
 public:
  Scan(const ScanSource &source, ScanVisitor visit, void *context)
      : source_(source), visit_(visit), context_(context) {}

  int run();

 private:
  int visit_broken_head();
  int visit_frame(const Frame &frame);
  int visit_record(const Frame &frame);
  int visit_structure(const Frame &frame);
  int visit_checkpoint(const Frame &frame);
  int visit_not_recorded(const Frame &frame);
  int visit_film_area(const Frame &frame);
  int visit_gap(QomScanKind kind, uint64_t position, uint64_t length, const char *reason);
  QomScanEvent event_of(QomScanKind kind, const Frame &frame) const;

  const ScanSource &source_;
  ScanVisitor visit_;
  void *context_;
  uint64_t records_ = 0;  // visited so far
  uint64_t run_ = 0;      // of these, directly one behind the other
  uint64_t time_ = 0;     // of the last record, microseconds
};

int Scan::run() {
  time_ = source_.space->start_time;
  if (const int stop = visit_broken_head(); stop != 0) return stop;
  FrameWalker walker(source_.window, source_.space->salt, source_.space->first_frame,
                     source_.source->size());
  for (;;) {
    int stop = 0;
    switch (walker.next()) {
      case FrameWalker::Found::frame:
        stop = visit_frame(walker.frame());
        break;
      case FrameWalker::Found::damage:
        stop = visit_gap(QOM_SCAN_DAMAGE, walker.gap_position(), walker.gap(),
                         "no record begins here");
        break;
      case FrameWalker::Found::torn:
        stop = visit_gap(QOM_SCAN_TORN, walker.gap_position(), walker.gap(),
                         "the file ends in the middle of a record");
        break;
      case FrameWalker::Found::end:
        return 0;
      case FrameWalker::Found::failed:
        return -1;
    }
    if (stop != 0) return stop;
  }
}

int Scan::visit_broken_head() {
  if (source_.head_copy == 0) return 0;
  char reason[80];
  (void)std::snprintf(reason, sizeof reason,
                      "the file head is broken; its copy at offset %llu stands in",
                      static_cast<unsigned long long>(source_.head_copy));
  return visit_gap(QOM_SCAN_DAMAGE, 0, source_.space->first_frame, reason);
}

QomScanEvent Scan::event_of(QomScanKind kind, const Frame &frame) const {
  QomScanEvent event = {};
  event.kind = kind;
  event.position = static_cast<int64_t>(frame.position);
  event.length = frame.length();
  return event;
}

int Scan::visit_gap(QomScanKind kind, uint64_t position, uint64_t length, const char *reason) {
  run_ = 0;
  QomScanEvent event = {};
  event.kind = kind;
  event.position = static_cast<int64_t>(position);
  event.length = length;
  event.reason = reason;
  return visit_(context_, &event);
}

int Scan::visit_frame(const Frame &frame) {
  if (is_record_type(frame.head.type)) return visit_record(frame);
  bool failed;
  if (payload_is_good(source_.window, frame, &failed)) return visit_structure(frame);
  if (failed) return -1;
  return visit_gap(QOM_SCAN_DAMAGE, frame.position, frame.length(), "its checksum is wrong");
}

int Scan::visit_record(const Frame &frame) {
  QomIndexEntry entry = {};
  entry.position = static_cast<int64_t>(frame.position);
  entry.timestamp = std::max(time_, frame.head.timestamp);
  entry.flags = frame.head.timestamp < time_ ? QOM_ENTRY_TIME_RAISED : 0;
  entry.type = frame.head.type;
  entry.length = frame.head.stored_length;
  errno = 0;
  const RecordPtr<QomRecord> record(source_.records->read(entry));
  if (!record && errno != 0) return -1;
  if (!record) {
    // The window may have moved under the walker's feet; it reads what it needs again.
    bool failed;
    const bool sound = payload_is_good(source_.window, frame, &failed);
    if (failed) return -1;
    if (!sound)
      return visit_gap(QOM_SCAN_DAMAGE, frame.position, frame.length(), "its checksum is wrong");
    run_ = 0;
  } else {
    time_ = entry.timestamp;
    ++records_;
    ++run_;
  }
  QomScanEvent event = event_of(QOM_SCAN_RECORD, frame);
  event.record = record.get();
  event.reason = record ? nullptr : last_error();
  return visit_(context_, &event);
}

int Scan::visit_checkpoint(const Frame &frame) {
  QomScanEvent event = event_of(QOM_SCAN_CHECKPOINT, frame);
  CheckpointSpan span = {};
  if (frame.head.stored_length == sizeof span) {
    const uint8_t *bytes = source_.window->at(frame.position + frame_head_bytes, sizeof span);
    if (!bytes) return -1;
    std::memcpy(&span, bytes, sizeof span);
  }
  event.count = span.count <= run_ ? span.count : 0;
  event.first = records_ - event.count;
  run_ = 0;
  return visit_(context_, &event);
}

int Scan::visit_not_recorded(const Frame &frame) {
  QomGap gap = {};
  bool good = false;
  if (frame.head.stored_length == gap_bytes) {
    const uint8_t *bytes = source_.window->at(frame.position + frame_head_bytes, gap_bytes);
    if (!bytes) return -1;
    good = decode_gap(frame.head, bytes, &gap);
  }
  gap.record = records_;
  QomScanEvent event = event_of(good ? QOM_SCAN_GAP : QOM_SCAN_UNKNOWN, frame);
  if (good) event.gap = &gap;
  return visit_(context_, &event);
}

int Scan::visit_film_area(const Frame &frame) {
  QomFilmArea film = {};
  bool good = false;
  if (frame.head.stored_length == film_area_bytes) {
    const uint8_t *bytes = source_.window->at(frame.position + frame_head_bytes, film_area_bytes);
    if (!bytes) return -1;
    good = decode_film_area(frame.head, bytes, &film);
  }
  film.record = records_;
  QomScanEvent event = event_of(good ? QOM_SCAN_FILM_AREA : QOM_SCAN_UNKNOWN, frame);
  if (good) event.film_area = &film;
  return visit_(context_, &event);
}

int Scan::visit_structure(const Frame &frame) {
  if (frame.head.type == frame_checkpoint) return visit_checkpoint(frame);
  run_ = 0;
  if (frame.head.type == frame_gap) return visit_not_recorded(frame);
  if (frame.head.type == frame_film_area) return visit_film_area(frame);
  const QomScanEvent event = event_of(plain_kind(frame.head.type), frame);
  return visit_(context_, &event);
}

}  // namespace

int scan_frames(const ScanSource &source, ScanVisitor visit, void *context) {
  return Scan(source, visit, context).run();
}

}  // namespace qom
