// docs/format.md and the library say the same.
#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>

#include "fixture.h"
#include "independent_reader.h"

namespace {

class Document : public RecordingTest {
 protected:
  // The bytes of the example: lines of an offset, bytes in hexadecimal, and a remark.
  static Bytes example() {
    std::ifstream in(QOM_FORMAT_DOCUMENT);
    EXPECT_TRUE(in) << QOM_FORMAT_DOCUMENT;
    const auto digit = [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; };
    Bytes bytes;
    for (std::string line; std::getline(in, line);) {
      if (line.size() < 9 || !std::all_of(line.begin(), line.begin() + 4, digit) ||
          line.compare(4, 2, "  ") != 0)
        continue;
      EXPECT_EQ(std::stoul(line.substr(0, 4), nullptr, 16), bytes.size()) << line;
      for (size_t at = 6; at + 2 < line.size() && digit(line[at]) && digit(line[at + 1]); at += 3)
        bytes.push_back(static_cast<uint8_t>(std::stoul(line.substr(at, 2), nullptr, 16)));
    }
    return bytes;
  }
};

TEST_F(Document, TheExampleIsWhatTheLibraryWritesAndReads) {
  QomHeader header = {};
  header.timestamp = 1000000;
  header.depth = 16;
  header.width = 2;
  header.height = 1;
  header.pixel_format = RGB565;
  header.min_keycode = 8;
  header.max_keycode = 255;
  char user[] = "ada";
  header.user = user;
  uint8_t pixels[] = {0x00, 0xF8, 0x1F, 0x00};
  std::vector<Record> written;
  written.push_back(keep(QomImage{QOM_IMAGE, 1000000, 2, 1, 0, 0, RGB565, 0, 4, 4, pixels}));
  written.push_back(text_record(QOM_FOOTER_ITEM_HOST, 1000250, "desk"));
  write(header, written);
  EXPECT_EQ(contents(), example());
  put(example());
  EXPECT_EQ(records(), describe_all(written));
  EXPECT_EQ(info().state, QOM_STATE_FINISHED);
}

TEST_F(Document, AReaderWrittenFromItReadsTheSamePixels) {
  for (const PixelFormat format : {PALETTE8, BGR565, RGBA8888}) {
    const QomHeader header = sample_header(format, 16);
    auto written = every_record(header);
    const uint64_t time = written.back()->timestamp;
    const Record smooth = image(header, time, 256, 100);
    auto picture = reinterpret_cast<QomImage *>(smooth.get());
    for (uint32_t i = 0; i < picture->length; ++i)
      picture->data[i] = static_cast<uint8_t>(i / 4 * (i % 4 + 1) + i * i % 3);
    written.emplace_back(reinterpret_cast<QomRecord *>(qom_image_compress(picture)));
    write(header, written);
    const auto found = independent::read(contents());
    EXPECT_TRUE(found.index_agrees);
    ASSERT_EQ(found.records.size(), written.size());
    EXPECT_EQ(found.header, describe(qom_info_header(open().get())).substr(10));
    for (size_t i = 0; i < written.size(); ++i) {
      Record plain;
      auto record = written[i].get();
      if (record->type == QOM_COMPRESSED_IMAGE)
        plain.reset(reinterpret_cast<QomRecord *>(
            qom_image_uncompress(reinterpret_cast<QomCompressedImage *>(record))));
      if (record->type == QOM_COMPRESSED_IMAGE_BLOCKS)
        plain.reset(reinterpret_cast<QomRecord *>(
            qom_image_blocks_uncompress(reinterpret_cast<QomCompressedImageBlocks *>(record))));
      if (!plain) continue;
      const std::string text = describe(plain.get());
      EXPECT_EQ(found.records[i].decoded, text.substr(text.rfind(':') + 1));
    }
    std::filesystem::remove(path);
  }
}

}  // namespace
