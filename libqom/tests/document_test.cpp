// docs/format.md and the library say the same.
#include <algorithm>
#include <cctype>
#include <fstream>

#include "fixture.h"

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
  QomHeader header = sample_header(RGB565, 0);
  header.timestamp = 1000000;
  header.width = 2;
  header.height = 1;
  char user[] = "ada";
  header.user = user;
  uint8_t pixels[] = {0x00, 0xF8, 0x1F, 0x00};
  const auto written = list(keep(QomImage{QOM_IMAGE, 1000000, 2, 1, 0, 0, RGB565, 0, 4, 4, pixels}),
                            text_record(QOM_FOOTER_ITEM_HOST, 1000250, "desk"));
  write(header, written);
  EXPECT_EQ(contents(), example());
  put(example());
  EXPECT_EQ(records(), describe_all(written));
  EXPECT_EQ(info().state, QOM_STATE_FINISHED);
}

}  // namespace
