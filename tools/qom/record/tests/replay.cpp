#include "replay.h"

#include <cstring>
#include <memory>
#include <stdexcept>

namespace {

struct Free {
  void operator()(void *record) const { qom_record_free(record); }
};
template <class Record>
using Owned = std::unique_ptr<Record, Free>;

template <class Record>
const Record *as(const QomRecord *record) {
  return reinterpret_cast<const Record *>(record);
}

}  // namespace

Replay::Replay(const std::string &path) : reader_(qom_reader_open(path.c_str())) {
  if (!reader_) throw std::runtime_error(path + ": " + qom_reader_error());
}

Replay::~Replay() {
  qom_reader_close(reader_);
}

QomReaderInfo Replay::info() const {
  QomReaderInfo info{};
  EXPECT_EQ(qom_reader_info(reader_, &info), 0);
  return info;
}

std::vector<size_t> Replay::checkpoints() const {
  std::vector<size_t> result;
  for (size_t i = 0; i < length(); i++) {
    size_t first = 0;
    size_t end = 0;
    if (qom_checkpoint_before(reader_, i, &first, &end) && first == i) result.push_back(i);
  }
  return result;
}

Replayed Replay::play(size_t first, size_t end) const {
  Replayed state;
  uint64_t time = header().timestamp;
  for (size_t i = first; i < end; i++) {
    const Owned<QomRecord> record(qom_record_at_index(reader_, i));
    if (!record) throw std::runtime_error(qom_reader_error());
    EXPECT_GE(record->timestamp, time);
    time = record->timestamp;
    state.types.push_back(record->type);
    apply(record.get(), state);
  }
  return state;
}

void Replay::apply(const QomRecord *record, Replayed &state) const {
  switch (record->type) {
    case QOM_SCREEN_CHANGE: {
      const auto *change = as<QomScreenChange>(record);
      state.frame = {change->width, change->height,
                     std::vector<uint32_t>(size_t{change->width} * change->height)};
      break;
    }
    case QOM_COMPRESSED_IMAGE: {
      const Owned<QomImage> image(qom_image_uncompress(as<QomCompressedImage>(record)));
      ASSERT_TRUE(image) << qom_reader_error();
      draw(*image, state);
      break;
    }
    case QOM_COMPRESSED_IMAGE_BLOCKS: {
      const Owned<QomImageBlocks> blocks(
          qom_image_blocks_uncompress(as<QomCompressedImageBlocks>(record)));
      ASSERT_TRUE(blocks) << qom_reader_error();
      size_t offset = 0;
      QomImage image{};
      int more = 0;
      while ((more = qom_image_blocks_next(blocks.get(), &header(), &offset, &image)) == 1) {
        draw(image, state);
      }
      ASSERT_EQ(more, 0);
      break;
    }
    case QOM_CURSOR_IMAGE: {
      const auto *cursor = as<QomCursorImage>(record);
      state.cursor_x = cursor->x;
      state.cursor_y = cursor->y;
      const auto *pixels = reinterpret_cast<const uint32_t *>(cursor->data);
      state.cursor.assign(pixels, pixels + size_t{cursor->width} * cursor->height);
      break;
    }
    case QOM_CURSOR_POSITION:
      state.cursor_x = as<QomCursorPosition>(record)->x;
      state.cursor_y = as<QomCursorPosition>(record)->y;
      break;
    case QOM_LAST_INPUT:
      state.texts[record->type] =
          std::string(as<QomLastInput>(record)->user) + "/" + as<QomLastInput>(record)->tfn;
      break;
    case QOM_DONE:
      break;
    default:
      state.texts[record->type] = as<QomFooterItem>(record)->item;
      if (record->type == QOM_FOOTER_ITEM_APP) {
        state.applications.push_back(state.texts[record->type]);
      }
  }
}

void Replay::draw(const QomImage &image, Replayed &state) const {
  const size_t bytes = pixel_format_bytes_per_pixel(header().pixel_format);
  ASSERT_TRUE(image.x >= 0 && image.x + image.width <= state.frame.width);
  ASSERT_TRUE(image.y >= 0 && image.y + image.height <= state.frame.height);
  for (int y = 0; y < image.height; y++) {
    for (int x = 0; x < image.width; x++) {
      uint32_t pixel = 0;
      std::memcpy(&pixel, image.data + size_t{image.bytes_per_line} * y + bytes * x, bytes);
      state.frame.pixels[size_t(image.y + y) * state.frame.width + image.x + x] = pixel;
    }
  }
}
