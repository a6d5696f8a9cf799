#include "replay.h"

#include <cstring>
#include <stdexcept>

namespace {

void draw(const QomImage &image, Replayed &state) {
  const size_t bytes = pixel_format_bytes_per_pixel(image.pixel_format);
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

void draw_blocks(const QomImageBlocks &blocks, const QomHeader &header, Replayed &state) {
  size_t offset = 0;
  QomImage image{};
  int more = 0;
  while ((more = qom_image_blocks_next(&blocks, &header, &offset, &image)) == 1) draw(image, state);
  ASSERT_EQ(more, 0);
}

void apply(const Record &record, const QomHeader &header, Replayed &state) {
  switch (record->type) {
    case QOM_SCREEN_CHANGE: {
      const auto &change = as<QomScreenChange>(record);
      state.frame = {change.width, change.height,
                     std::vector<uint32_t>(size_t{change.width} * change.height)};
      break;
    }
    case QOM_COMPRESSED_IMAGE:
    case QOM_COMPRESSED_IMAGE_BLOCKS: {
      const Record plain = uncompressed(record);
      ASSERT_TRUE(plain) << qom_reader_error();
      if (plain->type == QOM_IMAGE) {
        draw(as<QomImage>(plain), state);
      } else {
        draw_blocks(as<QomImageBlocks>(plain), header, state);
      }
      break;
    }
    case QOM_CURSOR_IMAGE: {
      const auto &cursor = as<QomCursorImage>(record);
      state.cursor_x = cursor.x;
      state.cursor_y = cursor.y;
      const auto *pixels = reinterpret_cast<const uint32_t *>(cursor.data);
      state.cursor.assign(pixels, pixels + size_t{cursor.width} * cursor.height);
      break;
    }
    case QOM_CURSOR_POSITION:
      state.cursor_x = as<QomCursorPosition>(record).x;
      state.cursor_y = as<QomCursorPosition>(record).y;
      break;
    case QOM_LAST_INPUT:
      state.texts[record->type] =
          std::string(as<QomLastInput>(record).user) + "/" + as<QomLastInput>(record).tfn;
      break;
    case QOM_DONE:
      break;
    default:
      state.texts[record->type] = as<QomFooterItem>(record).item;
  }
}

}  // namespace

Replay::Replay(const std::string &path) : reader_(qom_reader_open(path.c_str())) {
  if (!reader_) throw std::runtime_error(path + ": " + qom_reader_error());
}

QomReaderInfo Replay::info() const {
  QomReaderInfo info{};
  EXPECT_EQ(qom_reader_info(reader_.get(), &info), 0);
  return info;
}

double Replay::seconds() const {
  const size_t length = qom_reader_index_length(reader_.get());
  if (length == 0) return 0;
  const uint64_t end = qom_reader_index(reader_.get())[length - 1].timestamp;
  return static_cast<double>(end - header().timestamp) / 1e6;
}

std::vector<QomGap> Replay::gaps() const {
  size_t count = 0;
  const QomGap *gaps = qom_reader_gaps(reader_.get(), &count);
  return {gaps, gaps + count};
}

std::vector<size_t> Replay::checkpoints() const {
  std::vector<size_t> result;
  size_t before = SIZE_MAX;
  size_t first = 0;
  size_t end = 0;
  while (qom_checkpoint_before(reader_.get(), before, &first, &end)) {
    result.push_back(first);
    if (first == 0) break;
    before = first - 1;
  }
  return result;
}

Replayed Replay::play(size_t first) const {
  Replayed state;
  uint64_t time = header().timestamp;
  for (size_t i = first; i < qom_reader_index_length(reader_.get()); i++) {
    const Record record(qom_record_at_index(reader_.get(), i));
    if (!record) throw std::runtime_error(qom_reader_error());
    EXPECT_GE(record->timestamp, time);
    time = record->timestamp;
    state.types.push_back(record->type);
    apply(record, header(), state);
  }
  return state;
}
