// The stretches of a damaged recording in which its picture is not what was recorded.
#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "base/array.h"
#include "base/error.h"
#include "screen/moving.h"

namespace qom {
namespace {

class Search {
 public:
  Search(QomReader *reader, int (*progress)(void *, uint64_t), void *context)
      : reader_(reader), progress_(progress), context_(context) {}

  bool run();
  QomStretch *take(size_t *count);

 private:
  static int visit(void *search, const QomScanEvent *event);

  int note(const QomScanEvent &event);
  void note_record(const QomRecord *record);
  void note_lost(const QomScanEvent &event);
  void lose(uint64_t time);
  bool restore(uint64_t time);

  QomReader *reader_;
  int (*progress_)(void *, uint64_t);
  void *context_;

  const QomIndexEntry *entries_ = nullptr;
  size_t count_ = 0;
  bool complete_ = false;  // the index knows also records that are damaged

  uint16_t width_ = 0;  // of the screen
  uint16_t height_ = 0;
  bool size_is_known_ = true;
  uint64_t last_time_ = 0;  // of a sound record
  bool lost_ = false;
  uint64_t since_ = 0;
  Array<QomStretch> stretches_;
  bool out_of_memory_ = false;
};

bool Search::run() {
  QomReaderInfo info;
  if (qom_reader_info(reader_, &info) != 0) return false;
  entries_ = qom_reader_index(reader_);
  count_ = entries_ ? qom_reader_index_length(reader_) : 0;
  complete_ = info.state == QOM_STATE_FINISHED;
  const QomHeader *header = qom_info_header(reader_);
  width_ = header->width;
  height_ = header->height;
  last_time_ = header->timestamp;
  const int result = qom_reader_scan(reader_, visit, this);
  if (out_of_memory_) {
    errno = ENOMEM;
    set_error("out of memory for a list of damage");
    return false;
  }
  if (result > 0) return QOM_REFUSE(false, "the search for damage was ended");
  if (result == 0 && lost_) return restore(UINT64_MAX);
  return result == 0;
}

QomStretch *Search::take(size_t *count) {
  *count = stretches_.size();
  if (*count == 0) return nullptr;
  auto *copy = static_cast<QomStretch *>(std::malloc(*count * sizeof(QomStretch)));
  if (copy) std::copy(stretches_.begin(), stretches_.end(), copy);
  return copy;
}

int Search::visit(void *search, const QomScanEvent *event) {
  return static_cast<Search *>(search)->note(*event);
}

int Search::note(const QomScanEvent &event) {
  if (event.kind == QOM_SCAN_RECORD && event.record)
    note_record(event.record);
  else if (event.kind == QOM_SCAN_RECORD || event.kind == QOM_SCAN_DAMAGE)
    note_lost(event);
  if (out_of_memory_) return 1;
  const uint64_t read = static_cast<uint64_t>(event.position) + event.length;
  return progress_ ? progress_(context_, read) != 0 : 0;
}

void Search::note_record(const QomRecord *record) {
  last_time_ = std::max(last_time_, record->timestamp);
  if (record->type == QOM_SCREEN_CHANGE) {
    const auto change = reinterpret_cast<const QomScreenChange *>(record);
    width_ = change->width;
    height_ = change->height;
    size_is_known_ = true;
  }
  if (record->type != QOM_IMAGE && record->type != QOM_COMPRESSED_IMAGE) return;
  const auto image = reinterpret_cast<const QomImage *>(record);  // both begin alike
  const bool whole = size_is_known_ && image->x == 0 && image->y == 0 && image->width == width_ &&
                     image->height == height_;
  if (whole && lost_) out_of_memory_ = !restore(last_time_);
}

// Bytes whose records are known and draw nothing do no harm.
void Search::note_lost(const QomScanEvent &event) {
  const auto end = static_cast<uint64_t>(event.position) + event.length;
  const QomIndexEntry *entry = std::lower_bound(
      entries_, entries_ + count_, event.position,
      [](const QomIndexEntry &e, int64_t position) { return e.position < position; });
  bool known = false;
  for (; entry != entries_ + count_ && static_cast<uint64_t>(entry->position) < end; ++entry) {
    known = true;
    if (entry->type == QOM_SCREEN_CHANGE) size_is_known_ = false;
    if (draws(entry->type) || entry->type == QOM_SCREEN_CHANGE) lose(entry->timestamp);
  }
  if (known || complete_) return;
  size_is_known_ = false;
  lose(last_time_);
}

// Times of an index that lies may go back.
void Search::lose(uint64_t time) {
  if (!lost_) since_ = stretches_.empty() ? time : std::max(time, stretches_.back().end);
  lost_ = true;
}

bool Search::restore(uint64_t time) {
  lost_ = false;
  return since_ >= time || stretches_.push({since_, time});
}

}  // namespace
}  // namespace qom

extern "C" int qom_screen_untrusted(QomReader *reader, int (*progress)(void *, uint64_t),
                                    void *context, QomStretch **stretches, size_t *count) {
  qom::Search search(reader, progress, context);
  *stretches = nullptr;
  *count = 0;
  if (!search.run()) return -1;
  *stretches = search.take(count);
  if (*count == 0 || *stretches) return 0;
  *count = 0;
  errno = ENOMEM;
  qom::set_error("out of memory for a list of damage");
  return -1;
}
