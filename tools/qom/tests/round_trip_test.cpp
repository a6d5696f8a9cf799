// Recordings written by the library itself, through `dump --text` and `make`, and back.
#include <cstring>
#include <random>
#include <regex>

#include "program.h"
#include "qom/writer.h"
#include "records.h"

namespace qomtool {
namespace {

struct CloseWriter {
  void operator()(QomWriter *writer) const { qom_writer_close(writer); }
};

// Writes records of every type with contents that no person would choose.
class Scribe {
 public:
  Scribe(const std::string &path, PixelFormat format, uint8_t pad) : random_(format * 100u + pad) {
    header_.type = QOM_HEADER;
    header_.timestamp = 1'700'000'000'123'457;
    header_.width = 40;
    header_.height = 30;
    header_.pixel_format = format;
    header_.scanline_pad = pad;
    header_.depth = static_cast<uint8_t>(pixel_format_bytes_per_pixel(format) * 8);
    header_.min_keycode = 3;
    header_.max_keycode = 2;
    header_.palette_size = format == PALETTE8 ? 3 : 0;
    header_.palette = palette_;
    header_.user = text(user_);
    header_.tfn = text(tfn_);
    time_ = header_.timestamp;
    writer_.reset(qom_writer_create(path.c_str(), &header_));
  }

  void write_records(int count) {
    ASSERT_TRUE(writer_) << qom_reader_error();
    for (int i = 0; i < count; ++i) write_record(i % 19);
    write_checkpoint();
    ASSERT_EQ(qom_writer_close(writer_.release()), 0);
  }

 private:
  uint32_t any(uint32_t below) { return static_cast<uint32_t>(random_() % below); }

  // Absent, empty, or bytes of every kind, among them broken UTF-8.
  char *text(std::string &place) {
    if (any(4) == 0) return nullptr;
    place.clear();
    for (uint32_t i = any(20); i > 0; --i) place += static_cast<char>(1 + any(255));
    return place.data();
  }

  void bytes(uint8_t *data, size_t length) {
    // Now and then one colour throughout.
    const bool plain = any(3) == 0;
    const uint8_t byte = static_cast<uint8_t>(any(256));
    for (size_t i = 0; i < length; ++i) data[i] = plain ? byte : static_cast<uint8_t>(any(256));
  }

  void append(const void *record) {
    ASSERT_EQ(qom_writer_append(writer_.get(), record), 0) << qom_reader_error();
  }

  template <typename Record>
  Record begin(int type) {
    Record record{};
    record.type = static_cast<uint8_t>(type);
    record.timestamp = time_ += any(3) ? any(3'000'000) : 0;
    return record;
  }

  QomImage image(uint16_t width, uint16_t height) {
    QomImage image = begin<QomImage>(QOM_IMAGE);
    image.width = width;
    image.height = height;
    image.x = static_cast<int16_t>(any(65536));
    image.y = static_cast<int16_t>(any(65536));
    image.pixel_format = header_.pixel_format;
    image.scanline_pad = header_.scanline_pad;
    const auto bits = static_cast<uint8_t>(pixel_format_bytes_per_pixel(image.pixel_format) * 8);
    image.bytes_per_line = stride_in_bytes(width, bits, image.scanline_pad);
    image.length = image.bytes_per_line * height;
    pixels_.resize(image.length);
    bytes(pixels_.data(), pixels_.size());
    image.data = pixels_.data();
    return image;
  }

  QomImageBlocks blocks() {
    std::vector<uint8_t> data;
    for (uint32_t i = any(4); i > 0; --i) {
      const QomImage block = image(uint16_t(1 + any(9)), uint16_t(1 + any(5)));
      const uint16_t head[] = {uint16_t(block.x), uint16_t(block.y), block.width, block.height};
      const auto *start = reinterpret_cast<const uint8_t *>(head);
      data.insert(data.end(), start, start + sizeof head);
      data.insert(data.end(), block.data, block.data + block.length);
    }
    pixels_ = data;
    QomImageBlocks record = begin<QomImageBlocks>(QOM_IMAGE_BLOCKS);
    record.length = static_cast<uint32_t>(pixels_.size());
    record.data = pixels_.data();
    return record;
  }

  void write_compressed_image(uint16_t width, uint16_t height, bool at_origin) {
    QomImage plain = image(width, height);
    if (at_origin) plain.x = plain.y = 0;
    const RecordPtr record(reinterpret_cast<QomRecord *>(qom_image_compress(&plain)));
    append(record.get());
  }

  void write_cursor() {
    QomCursorImage cursor = begin<QomCursorImage>(QOM_CURSOR_IMAGE);
    cursor.width = static_cast<uint16_t>(1 + any(5));
    cursor.height = static_cast<uint16_t>(1 + any(5));
    cursor.xhot = cursor.width;
    cursor.cursor_serial = 0xffffffffu - any(9);
    cursor.length = cursor.width * cursor.height * 4u;
    pixels_.resize(cursor.length);
    bytes(pixels_.data(), pixels_.size());
    cursor.data = pixels_.data();
    append(&cursor);
  }

  void write_screen(uint16_t width, uint16_t height) {
    QomScreenChange screen = begin<QomScreenChange>(QOM_SCREEN_CHANGE);
    screen.width = width;
    screen.height = height;
    append(&screen);
  }

  void write_input() {
    QomLastInput input = begin<QomLastInput>(QOM_LAST_INPUT);
    std::string user, tfn;
    input.user = text(user);
    input.tfn = text(tfn);
    append(&input);
  }

  void write_footer(int type) {
    QomFooterItem footer = begin<QomFooterItem>(type);
    std::string item;
    footer.item = text(item);
    append(&footer);
  }

  void write_record(int kind) {
    switch (kind) {
      case QOM_DONE:
      case QOM_DEBUG: {
        const auto record = begin<QomRecord>(kind);
        return append(&record);
      }
      case QOM_HEADER: {
        QomHeader header = header_;
        header.timestamp = time_;
        header.version = 77;
        header.width = 1;
        return append(&header);
      }
      case QOM_IMAGE: {
        const QomImage plain = image(uint16_t(1 + any(9)), uint16_t(1 + any(9)));
        return append(&plain);
      }
      case QOM_COMPRESSED_IMAGE:
        return write_compressed_image(7, 3, false);
      case QOM_CURSOR_IMAGE:
        return write_cursor();
      case QOM_CURSOR_POSITION: {
        auto position = begin<QomCursorPosition>(kind);
        position.x = -32768;
        position.y = 32767;
        return append(&position);
      }
      case QOM_SCREEN_CHANGE:
        return write_screen(0, 65535);
      case QOM_LAST_INPUT:
        return write_input();
      case QOM_IMAGE_BLOCKS: {
        const QomImageBlocks plain = blocks();
        return append(&plain);
      }
      case QOM_COMPRESSED_IMAGE_BLOCKS: {
        const QomImageBlocks plain = blocks();
        const RecordPtr record(reinterpret_cast<QomRecord *>(qom_image_blocks_compress(&plain)));
        return append(record.get());
      }
      case 17:
        return write_checkpoint();
      default:
        if (kind < 17) write_footer(kind);
    }
  }

  void write_checkpoint() {
    ASSERT_EQ(qom_writer_begin_checkpoint(writer_.get()), 0);
    write_screen(40, 30);
    write_compressed_image(40, 30, true);
    write_cursor();
    write_input();
    for (int type : {9, 10, 11, 12, 13, 16}) write_footer(type);
    ASSERT_EQ(qom_writer_end_checkpoint(writer_.get()), 0) << qom_reader_error();
  }

  std::mt19937_64 random_;
  QomHeader header_{};
  RgbValue palette_[3] = {{1, 2, 3, 0}, {0xffff, 0, 0, 9}, {0, 0xabcd, 0, 0}};
  std::string user_, tfn_;
  uint64_t time_;
  std::vector<uint8_t> pixels_;
  std::unique_ptr<QomWriter, CloseWriter> writer_;
};

// The bytes that a record's pixels decode to; empty when it has none.
std::string pixels_of(const QomRecord *record) {
  const auto text = [](const auto &image) {
    return std::string(reinterpret_cast<const char *>(image.data), image.length);
  };
  switch (record->type) {
    case QOM_IMAGE:
      return text(as<QomImage>(record));
    case QOM_CURSOR_IMAGE:
      return text(as<QomCursorImage>(record));
    case QOM_IMAGE_BLOCKS:
      return text(as<QomImageBlocks>(record));
    case QOM_COMPRESSED_IMAGE:
      return text(*ImagePtr(qom_image_uncompress(&as<QomCompressedImage>(record))));
    case QOM_COMPRESSED_IMAGE_BLOCKS:
      return text(*BlocksPtr(qom_image_blocks_uncompress(&as<QomCompressedImageBlocks>(record))));
    default:
      return "";
  }
}

class RoundTrip : public ProgramTest {
 protected:
  // Lines of `dump` without the compressed sizes, which are the compressor's affair.
  std::string lines_of(const std::string &name) {
    static const std::regex size(" compressed to \\d+");
    return std::regex_replace(qom({"dump", path(name)}).out, size, "");
  }

  // Index by index; the checkpoints, too.
  void expect_same_pixels(const std::string &a, const std::string &b) {
    const ReaderPtr readers[] = {ReaderPtr(qom_reader_open(path(a).c_str())),
                                 ReaderPtr(qom_reader_open(path(b).c_str()))};
    const size_t length = qom_reader_index_length(readers[0].get());
    ASSERT_EQ(length, qom_reader_index_length(readers[1].get()));
    for (size_t i = 0; i < length; ++i) {
      RecordPtr records[2];
      size_t first[2] = {}, end[2] = {};
      for (int which : {0, 1}) {
        records[which].reset(qom_record_at_index(readers[which].get(), i));
        ASSERT_TRUE(records[which]);
        qom_checkpoint_before(readers[which].get(), i, &first[which], &end[which]);
      }
      ASSERT_EQ(pixels_of(records[0].get()), pixels_of(records[1].get())) << "record " << i;
      ASSERT_EQ(first[0], first[1]);
      ASSERT_EQ(end[0], end[1]);
    }
  }
};

TEST_F(RoundTrip, OfEveryFormatAndPaddingGivesTheSameRecords) {
  for (int format = PALETTE8; format <= BGRA8888; ++format) {
    for (const uint8_t pad : std::initializer_list<uint8_t>{0, 8, 16, 32}) {
      const std::string name = std::to_string(format) + '-' + std::to_string(pad);
      SCOPED_TRACE(name);
      Scribe(path(name), static_cast<PixelFormat>(format), pad).write_records(60);
      ASSERT_FALSE(HasFailure());
      const Outcome text = qom({"dump", "--text", path(name)});
      ASSERT_EQ(text.status, 0) << text.err;
      make(name + "b", text.out);
      EXPECT_EQ(lines_of(name), lines_of(name + "b"));
      expect_same_pixels(name, name + "b");
      EXPECT_EQ(qom({"dump", "--text", path(name + "b")}).out, text.out);
    }
  }
}

}  // namespace
}  // namespace qomtool
