#include "covered_cursor.h"

#include <new>
#include <utility>

namespace qomtool {
namespace {

constexpr int16_t kFarOff = INT16_MIN;

RecordPtr copy(const void *record) {
  RecordPtr made(qom_record_dup(record));
  if (!made) throw std::bad_alloc();
  return made;
}

RecordPtr far_position(uint64_t time) {
  const QomCursorPosition position{QOM_CURSOR_POSITION, time, kFarOff, kFarOff};
  return copy(&position);
}

RecordPtr empty_shape(uint64_t time) {
  static uint8_t clear[4];
  const QomCursorImage image{QOM_CURSOR_IMAGE, time, 1, 1, kFarOff, kFarOff, 0, 0, 0,
                             sizeof clear,     clear};
  return copy(&image);
}

}  // namespace

bool CoveredCursor::is_over_mask(int16_t x, int16_t y) const {
  if (masks_.meet(x, y, 1, 1)) return true;
  if (!shape_) return false;
  const auto &shape = as<QomCursorImage>(shape_.get());
  return masks_.meet(x - shape.xhot, y - shape.yhot, shape.width, shape.height);
}

RecordPtr CoveredCursor::covered(RecordPtr record) {
  if (masks_.empty()) return record;
  if (record->type == QOM_CURSOR_POSITION) return moved(std::move(record));
  if (record->type == QOM_CURSOR_IMAGE) return shaped(std::move(record));
  return record;
}

RecordPtr CoveredCursor::moved(RecordPtr record) {
  const auto &position = as<QomCursorPosition>(record.get());
  const bool was_hidden = hidden_;
  if (is_over_mask(position.x, position.y)) {
    hidden_ = shape_ != nullptr;
    return hidden_ && !was_hidden ? empty_shape(record->timestamp)
                                  : far_position(record->timestamp);
  }
  hidden_ = false;
  if (!was_hidden) return record;
  RecordPtr shown = copy(shape_.get());
  auto *image = reinterpret_cast<QomCursorImage *>(shown.get());
  image->timestamp = record->timestamp;
  image->x = position.x;
  image->y = position.y;
  return shown;
}

RecordPtr CoveredCursor::shaped(RecordPtr record) {
  shape_ = copy(record.get());
  const auto &image = as<QomCursorImage>(record.get());
  hidden_ = is_over_mask(image.x, image.y);
  return hidden_ ? empty_shape(record->timestamp) : std::move(record);
}

}  // namespace qomtool
