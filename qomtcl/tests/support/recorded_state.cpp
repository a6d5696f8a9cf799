#include "recorded_state.h"

#include <algorithm>
#include <cstring>

namespace {

template <typename Typed>
const Typed *as(const void *record) {
  return static_cast<const Typed *>(record);
}

}  // namespace

RecordedState::RecordedState(const QomHeader &header)
    : header_(header),
      bytes_(pixel_format_bytes_per_pixel(header.pixel_format)),
      width_(header.width),
      height_(header.height),
      pixels_(static_cast<size_t>(width_) * height_ * bytes_) {}

void RecordedState::follow(const void *record) {
  const uint8_t type = as<QomRecord>(record)->type;
  switch (type) {
    case QOM_IMAGE:
      return put(*as<QomImage>(record));
    case QOM_COMPRESSED_IMAGE: {
      const RecordHandle<QomImage> image(qom_image_uncompress(as<QomCompressedImage>(record)));
      return image ? put(*image) : void();
    }
    case QOM_COMPRESSED_IMAGE_BLOCKS: {
      const RecordHandle<QomImageBlocks> blocks(
          qom_image_blocks_uncompress(as<QomCompressedImageBlocks>(record)));
      return put_blocks(blocks.get());
    }
    case QOM_SCREEN_CHANGE:
      return resize(*as<QomScreenChange>(record));
    case QOM_CURSOR_IMAGE:
      cursor_.reset(qom_record_dup(record));
      return;
    case QOM_CURSOR_POSITION:
      return move_cursor(*as<QomCursorPosition>(record));
    case QOM_DONE:
      return;
    default:
      texts_[type].reset(qom_record_dup(record));
  }
}

void RecordedState::put(const QomImage &image) {
  for (int y = std::max(0, -image.y); y < image.height && image.y + y < height_; ++y)
    for (int x = std::max(0, -image.x); x < image.width && image.x + x < width_; ++x)
      memcpy(&pixels_[(static_cast<size_t>(image.y + y) * width_ + (image.x + x)) * bytes_],
             image.data + static_cast<size_t>(image.bytes_per_line) * y + bytes_ * x, bytes_);
}

void RecordedState::put_blocks(const QomImageBlocks *blocks) {
  size_t offset = 0;
  QomImage image{};
  while (blocks && qom_image_blocks_next(blocks, &header_, &offset, &image) == 1) put(image);
}

void RecordedState::resize(const QomScreenChange &change) {
  if (change.width > QOM_MAX_SIDE || change.height > QOM_MAX_SIDE) return;
  const size_t row = static_cast<size_t>(change.width) * bytes_;
  const size_t old_row = static_cast<size_t>(width_) * bytes_;
  std::vector<uint8_t> resized(row * change.height);
  for (int y = 0; y < std::min<int>(height_, change.height); ++y)
    memcpy(&resized[row * y], &pixels_[old_row * y], std::min(row, old_row));
  width_ = change.width;
  height_ = change.height;
  pixels_ = resized;
}

void RecordedState::move_cursor(const QomCursorPosition &position) {
  auto *cursor = reinterpret_cast<QomCursorImage *>(cursor_.get());
  if (!cursor) return;
  cursor->x = position.x;
  cursor->y = position.y;
}

bool RecordedState::append_picture(QomWriter *writer, uint64_t time) const {
  const size_t stride = stride_in_bytes(static_cast<uint32_t>(width_),
                                        static_cast<uint8_t>(bytes_ * 8), header_.scanline_pad);
  const size_t row = static_cast<size_t>(width_) * bytes_;
  std::vector<uint8_t> data(stride * static_cast<size_t>(height_));
  for (int y = 0; y < height_; ++y) memcpy(&data[stride * y], &pixels_[row * y], row);
  QomImage image{};
  image.type = QOM_IMAGE;
  image.timestamp = time;
  image.width = static_cast<uint16_t>(width_);
  image.height = static_cast<uint16_t>(height_);
  image.pixel_format = header_.pixel_format;
  image.scanline_pad = header_.scanline_pad;
  image.bytes_per_line = static_cast<uint32_t>(stride);
  image.length = static_cast<uint32_t>(data.size());
  image.data = data.data();
  const RecordHandle<QomCompressedImage> compressed(qom_image_compress(&image));
  return compressed && qom_writer_append(writer, compressed.get()) == 0;
}

bool RecordedState::append_copy(QomWriter *writer, const QomRecord *record, uint64_t time) const {
  if (!record) return true;
  const RecordHandle<QomRecord> copy(qom_record_dup(record));
  copy->timestamp = time;
  return qom_writer_append(writer, copy.get()) == 0;
}

bool RecordedState::restate(QomWriter *writer, uint64_t time) const {
  QomScreenChange screen{};
  screen.type = QOM_SCREEN_CHANGE;
  screen.timestamp = time;
  screen.width = static_cast<uint16_t>(width_);
  screen.height = static_cast<uint16_t>(height_);
  bool done = qom_writer_append(writer, &screen) == 0 && append_picture(writer, time) &&
              append_copy(writer, cursor_.get(), time);
  for (const auto &text : texts_) done = done && append_copy(writer, text.get(), time);
  return done;
}
