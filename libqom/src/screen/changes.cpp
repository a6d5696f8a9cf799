// When the picture changes: looked up in the index, and in the records where a rectangle is asked
// for.
#include <cstdint>

#include "base/records.h"
#include "file/reader.h"
#include "screen/damage.h"
#include "screen/moving.h"

namespace qom {
namespace {

enum class Answer { no, yes, failed };

QomRectangle rectangle_of(const QomImage *image) {
  return {image->x, image->y, image->width, image->height};
}

bool meets(const QomRectangle &a, const QomRectangle &b) {
  return !is_empty(common_part(a, b));
}

Answer blocks_meet(const QomHeader *header, const QomRecord *record, const QomRectangle &area) {
  const RecordPtr<QomImageBlocks> blocks(
      qom_image_blocks_uncompress(reinterpret_cast<const QomCompressedImageBlocks *>(record)));
  size_t offset = 0;
  QomImage block;
  while (blocks && qom_image_blocks_next(blocks.get(), header, &offset, &block) == 1)
    if (meets(rectangle_of(&block), area)) return Answer::yes;
  return Answer::no;
}

Answer copies_meet(const QomCopyArea *copied, const QomRectangle &area) {
  for (uint32_t i = 0; i < copied->count; ++i) {
    const QomCopy &copy = copied->copies[i];
    if (meets({copy.to_x, copy.to_y, copy.width, copy.height}, area)) return Answer::yes;
  }
  return Answer::no;
}

// A record that cannot be read changes nothing that could be shown.
Answer record_meets(QomReader *reader, size_t index, const QomRectangle &area) {
  const RecordPtr<QomRecord> record(qom_record_at_index(reader, index));
  if (!record) return Answer::no;
  switch (record->type) {
    case QOM_IMAGE:
    case QOM_COMPRESSED_IMAGE:  // both begin alike
      return meets(rectangle_of(reinterpret_cast<const QomImage *>(record.get())), area)
                 ? Answer::yes
                 : Answer::no;
    case QOM_COMPRESSED_IMAGE_BLOCKS:
      return blocks_meet(qom_info_header(reader), record.get(), area);
    case QOM_COPY_AREA:
      return copies_meet(reinterpret_cast<const QomCopyArea *>(record.get()), area);
    default:
      return Answer::yes;
  }
}

// Checkpoints restate; but the first picture may be in one.
bool restates(QomScreen *screen, size_t index) {
  size_t first;
  size_t end;
  return qom_checkpoint_before(screen->reader, index, &first, &end) == 1 && index < end &&
         reader_first_image(screen->reader) < first;
}

Answer changes(QomScreen *screen, size_t index, const QomRectangle *area, uint64_t *time) {
  QomIndexEntry entry;
  if (!reader_entry(screen->reader, index, &entry)) return Answer::failed;
  *time = entry.timestamp;
  if (!draws(entry.type) && entry.type != QOM_SCREEN_CHANGE) return Answer::no;
  if (restates(screen, index)) return Answer::no;
  return area ? record_meets(screen->reader, index, *area) : Answer::yes;
}

// Looks at one record after the other: `record(step, &index)` says which, and false at the end.
// Where the index turns out to be another one on the way, the search begins anew.
template <typename Record>
int search(QomScreen *screen, const QomRectangle *area, uint64_t *found, Record record) {
  uint64_t generation = reader_generation(screen->reader);
  size_t index;
  for (size_t step = 0;; ++step) {
    const bool there = record(step, &index);
    const Answer answer = there ? changes(screen, index, area, found) : Answer::no;
    if (generation != reader_generation(screen->reader)) {
      generation = reader_generation(screen->reader);
      step = SIZE_MAX;
      continue;
    }
    if (answer != Answer::no) return answer == Answer::yes ? 1 : -1;
    if (!there) return 0;
  }
}

}  // namespace
}  // namespace qom

using namespace qom;

extern "C" {

int qom_screen_next_change(QomScreen *screen, uint64_t time, const QomRectangle *area,
                           uint64_t *found) {
  QomReader *reader = screen->reader;
  return search(screen, area, found, [&](size_t step, size_t *index) {
    *index = reader_count_until(reader, time) + step;
    return *index < reader_count(reader);
  });
}

int qom_screen_previous_change(QomScreen *screen, uint64_t time, const QomRectangle *area,
                               uint64_t *found) {
  QomReader *reader = screen->reader;
  return search(screen, area, found, [&](size_t step, size_t *index) {
    const size_t count = time == 0 ? 0 : reader_count_until(reader, time - 1);
    *index = count - step - 1;
    return step < count;
  });
}

}  // extern "C"
