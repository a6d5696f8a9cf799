// How much of a recording is lossy, without drawing it.
#include <algorithm>
#include <cerrno>

#include "base/error.h"
#include "base/records.h"
#include "file/reader.h"
#include "pixels/lossy_form.h"
#include "screen/damage.h"
#include "screen/moving.h"
#include "screen/region.h"

namespace qom {
namespace {

class Measure {
 public:
  explicit Measure(QomReader *reader) : reader_(reader) {
    const QomHeader *header = qom_info_header(reader);
    resize(header->width, header->height);
  }

  // The record of an entry comes.
  void take(const QomIndexEntry &entry, size_t index);

  uint64_t time() const { return time_; }
  double area_time() const { return area_time_; }

 private:
  void apply(const QomRecord *record);
  void draw(const QomImage *image);
  void draw_blocks(const QomCompressedImageBlocks *compressed);
  void copy(const QomCopyArea *area);
  void resize(int32_t width, int32_t height);
  QomRectangle shown(const QomRectangle &area) const {
    return common_part(area, {0, 0, width_, height_});
  }

  QomReader *reader_;
  int32_t width_ = 0;
  int32_t height_ = 0;
  Region lossy_;
  uint64_t last_ = 0;     // time of the entry before
  uint64_t time_ = 0;     // with lossy areas
  double area_time_ = 0;  // the sum of their shares of the picture, each times microseconds
};

void Measure::take(const QomIndexEntry &entry, size_t index) {
  if (!lossy_.empty()) {
    const auto passed = entry.timestamp - last_;
    time_ += passed;
    area_time_ += static_cast<double>(passed) * static_cast<double>(lossy_.pixels()) /
                  (static_cast<double>(width_) * height_);
  }
  last_ = entry.timestamp;
  const bool matters = (entry.flags & QOM_ENTRY_LOSSY) != 0 || entry.type == QOM_SCREEN_CHANGE ||
                       (draws(entry.type) && !lossy_.empty());
  if (!matters) return;
  const RecordPtr<QomRecord> record(qom_record_at_index(reader_, index));
  if (record) apply(record.get());
}

void Measure::apply(const QomRecord *record) {
  LossyForm form;
  int32_t x;
  int32_t y;
  const bool is_lossy = lossy_form_of(record, &form, &x, &y);
  if (record->type == QOM_SCREEN_CHANGE) {
    const auto change = reinterpret_cast<const QomScreenChange *>(record);
    resize(change->width, change->height);
  } else if (record->type == QOM_COPY_AREA) {
    copy(reinterpret_cast<const QomCopyArea *>(record));
  } else if (record->type == QOM_IMAGE || record->type == QOM_COMPRESSED_IMAGE) {
    draw(reinterpret_cast<const QomImage *>(record));  // both begin alike
  } else if (record->type == QOM_COMPRESSED_IMAGE_BLOCKS && !is_lossy) {
    draw_blocks(reinterpret_cast<const QomCompressedImageBlocks *>(record));
  }
  if (!is_lossy) return;
  for (size_t i = 0; i < form.count(); ++i) {
    const BlockHead place = form.part(i).place;
    lossy_.add(shown({x + place.x, y + place.y, place.width, place.height}));
  }
}

void Measure::draw(const QomImage *image) {
  lossy_.remove(shown({image->x, image->y, image->width, image->height}));
}

void Measure::draw_blocks(const QomCompressedImageBlocks *compressed) {
  const RecordPtr<QomImageBlocks> blocks(qom_image_blocks_uncompress(compressed));
  size_t offset = 0;
  QomImage block;
  while (blocks &&
         qom_image_blocks_next(blocks.get(), qom_info_header(reader_), &offset, &block) == 1)
    draw(&block);
}

void Measure::copy(const QomCopyArea *area) {
  for (uint32_t i = 0; i < area->count; ++i) {
    const QomCopy &copy = area->copies[i];
    const int32_t right = copy.to_x - copy.x;
    const int32_t down = copy.to_y - copy.y;
    const QomRectangle from = shown({copy.x, copy.y, copy.width, copy.height});
    const QomRectangle to = shown({from.x + right, from.y + down, from.width, from.height});
    lossy_.copy({to.x - right, to.y - down, to.width, to.height}, to.x, to.y);
  }
}

// Sizes that a screen cannot have are not applied.
void Measure::resize(int32_t width, int32_t height) {
  if (width < 1 || height < 1 || width > int32_t{QOM_MAX_SIDE} || height > int32_t{QOM_MAX_SIDE})
    return;
  width_ = width;
  height_ = height;
  lossy_.clip(width, height);
}

}  // namespace
}  // namespace qom

extern "C" int qom_screen_lossy_share(QomReader *reader, int (*progress)(void *, uint64_t),
                                      void *context, QomLossyShare *share) {
  *share = {};
  errno = 0;
  const QomIndexEntry *entries = qom_reader_index(reader);
  const size_t count = entries ? qom_reader_index_length(reader) : 0;
  if (count == 0) return errno == 0 ? 0 : -1;
  share->whole = entries[count - 1].timestamp - entries[0].timestamp;
  share->records =
      static_cast<size_t>(std::count_if(entries, entries + count, [](const QomIndexEntry &entry) {
        return (entry.flags & QOM_ENTRY_LOSSY) != 0;
      }));
  if (share->records == 0) return 0;
  qom::Measure measure(reader);
  for (size_t i = 0; i < count; ++i) {
    measure.take(entries[i], i);
    if (progress && progress(context, static_cast<uint64_t>(entries[i].position)) != 0)
      return QOM_REFUSE(-1, "measuring was ended");
  }
  share->time = measure.time();
  share->area = share->whole > 0 ? measure.area_time() / static_cast<double>(share->whole) : 0;
  return 0;
}
