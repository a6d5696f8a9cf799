#include "replay.h"

#include <cstring>
#include <span>
#include <stdexcept>

Replay::Replay(const std::string &path, size_t first)
    : reader(qom_reader_open(path.c_str())), header(*qom_info_header(reader.get())) {
  uint64_t time = header.timestamp;
  for (size_t i = first; i < qom_reader_index_length(reader.get()); i++) {
    const Record record(qom_record_at_index(reader.get(), i));
    if (!record) throw std::runtime_error(qom_reader_error());
    EXPECT_GE(record->timestamp, time);
    time = record->timestamp;
    types.push_back(record->type);
    apply(record);
  }
  size_t before = SIZE_MAX;
  size_t end = 0;
  while (qom_checkpoint_before(reader.get(), before, &before, &end)) {
    checkpoints.push_back(before);
    if (before-- == 0) break;
  }
}

void Replay::apply(const Record &record) {
  switch (record->type) {
    case QOM_SCREEN_CHANGE: {
      const auto &change = as<QomScreenChange>(record);
      frame = {change.width, change.height,
               std::vector<uint32_t>(size_t{change.width} * change.height)};
      break;
    }
    case QOM_COMPRESSED_IMAGE:
    case QOM_COMPRESSED_IMAGE_BLOCKS: {
      const Record plain = uncompressed(record);
      ASSERT_TRUE(plain) << qom_reader_error();
      if (plain->type == QOM_IMAGE) {
        draw(as<QomImage>(plain));
      } else {
        draw_blocks(as<QomImageBlocks>(plain));
      }
      break;
    }
    case QOM_COPY_AREA:
      for (const QomCopy &copy :
           std::span(as<QomCopyArea>(record).copies, as<QomCopyArea>(record).count))
        move(copy);
      break;
    case QOM_CURSOR_IMAGE: {
      const auto &image = as<QomCursorImage>(record);
      cursor_x = image.x;
      cursor_y = image.y;
      hot_spot = {image.xhot, image.yhot};
      const auto *pixels = reinterpret_cast<const uint32_t *>(image.data);
      cursor.assign(pixels, pixels + size_t{image.width} * image.height);
      break;
    }
    case QOM_CURSOR_POSITION:
      cursor_x = as<QomCursorPosition>(record).x;
      cursor_y = as<QomCursorPosition>(record).y;
      break;
    case QOM_LAST_INPUT:
      texts[record->type] =
          std::string(as<QomLastInput>(record).user) + "/" + as<QomLastInput>(record).tfn;
      break;
    case QOM_DONE:
      break;
    default:
      texts[record->type] = as<QomFooterItem>(record).item;
  }
}

void Replay::draw(const QomImage &image) {
  const size_t bytes = pixel_format_bytes_per_pixel(image.pixel_format);
  ASSERT_TRUE(image.x >= 0 && image.x + image.width <= frame.width);
  ASSERT_TRUE(image.y >= 0 && image.y + image.height <= frame.height);
  for (int y = 0; y < image.height; y++) {
    for (int x = 0; x < image.width; x++) {
      uint32_t pixel = 0;
      std::memcpy(&pixel, image.data + size_t{image.bytes_per_line} * y + bytes * x, bytes);
      frame.pixels[size_t(image.y + y) * frame.width + image.x + x] = pixel;
    }
  }
}

void Replay::move(const QomCopy &copy) {
  const std::vector<uint32_t> before = frame.pixels;
  for (const auto &[x, y] : {std::pair{copy.x, copy.y}, std::pair{copy.to_x, copy.to_y}}) {
    ASSERT_TRUE(x >= 0 && x + copy.width <= frame.width);
    ASSERT_TRUE(y >= 0 && y + copy.height <= frame.height);
  }
  for (int y = 0; y < copy.height; y++) {
    for (int x = 0; x < copy.width; x++) {
      frame.pixels[size_t(copy.to_y + y) * frame.width + copy.to_x + x] =
          before[size_t(copy.y + y) * frame.width + copy.x + x];
    }
  }
}

void Replay::draw_blocks(const QomImageBlocks &blocks) {
  size_t offset = 0;
  QomImage image{};
  int more = 0;
  while ((more = qom_image_blocks_next(&blocks, &header, &offset, &image)) == 1) draw(image);
  ASSERT_EQ(more, 0);
}
