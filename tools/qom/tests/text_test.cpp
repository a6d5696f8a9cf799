// The text form: what it means, what `qom make` refuses, and every format there and back.
#include <unistd.h>

#include <algorithm>

#include "program.h"
#include "text/quote.h"

namespace qomtool {
namespace {

class TextForm : public ProgramTest {
 protected:
  // The pixels of a text that is a head and one image.
  Bytes pixels_of(const std::string &text) {
    unlink(path.c_str());
    make("recording", text);
    const Record record(qom_record_at_index(open().get(), 0));
    const auto &image = ::as<QomImage>(record);
    return {image.data, image.data + image.length};
  }
};

TEST_F(TextForm, HasPixelsOfColoursAndADocumentedGenerator) {
  const std::pair<std::string, Bytes> colours[] = {{"RGB332", {0xc5}},
                                                   {"BGR233", {0x4e}},
                                                   {"RGB565", {0x0c, 0xc1}},
                                                   {"BGR565", {0x18, 0x61}},
                                                   {"xRGB8888", {0x60, 0x20, 0xc0, 0}},
                                                   {"xBGR8888", {0xc0, 0x20, 0x60, 0}},
                                                   {"RGBx8888", {0, 0x60, 0x20, 0xc0}},
                                                   {"BGRx8888", {0, 0xc0, 0x20, 0x60}},
                                                   {"ARGB8888", {0x60, 0x20, 0xc0, 0xff}},
                                                   {"ABGR8888", {0xc0, 0x20, 0x60, 0xff}},
                                                   {"RGBA8888", {0xff, 0x60, 0x20, 0xc0}},
                                                   {"BGRA8888", {0xff, 0xc0, 0x20, 0x60}}};
  const std::string head = "qom-text 1\nscreen 8x8\npad 8\nformat ";
  for (const auto &[format, bytes] : colours) {
    EXPECT_EQ(pixels_of(head + format + "\nimage +0 1x1 0,0 fill rgb:c0/20/60\n"), bytes) << format;
  }
  // The first numbers of the generator for this seed are published with it.
  EXPECT_EQ(pixels_of(head + "ARGB8888\nimage +0 2x1 0,0 random 1234567\n"),
            Bytes({0x85, 0xfc, 0x08, 0xfb, 0xa5, 0x0f, 0x54, 0x58}));
}

TEST_F(TextForm, WithAMistakeIsRefusedByFileAndLineAndLeavesNothingBehind) {
  const std::string head = "qom-text 1\nscreen 8x8\nformat xRGB8888\n";
  const std::pair<std::string, std::string> mistakes[] = {
      {"", "1: the text ends where the first line"},
      {"qom-text 2\n", "1: version 2 of the text form is not known"},
      {head + "depth 33\n", "4: "},  // deeper than its pixels
      {head + "screen-change 5000000000000 1x1\n", "4: expected a time"},
      {head + "screen-change 5 8x8\nscreen-change 4 8x8\n", "5: "},  // the time goes back
      {head + "gap +0 +1 asleep\n", "4: expected stopped, suspended, late"},
      {head + "cursor-image +0 2x2 0,0 hot -1,0 serial 1 fill 00000000\n", "4: a hot spot lies"},
      {head + "footer-item-app +0 \"\\x00\"\n", "4: a text cannot hold a zero byte"},
      {head + "image +0 2x2 0,0 fill 12\n", "4: a pixel takes 8 hexadecimal digits"},
      {head + "image +0 16384x16384 0,0 random 1\n", "4: more pixels than one record can hold"},
      {head + "image +0 2x2 0,0 rows\n 11111111 22222222\n", "6: the text ends where a row"},
      {head + "image +0 2x1 0,0 rows\n 11111111\n", "5: the row does not have 2 pixels"},
      {head + "image +0 1x1 0,0 rows\n 1111111122222222\n", "5: the row does not have 1 pixel\n"},
      {head + "image +0 1x1 0,0 rows\n 11111111 | 00\n", "5: the row does not have 0 bytes"},
      {head + "\ncheckpoint-begin\nscreen-change +0 8x8\ncheckpoint-end\n", "7: "},  // not whole
      {head + "checkpoint-begin\nscreen-change +0 8x8\n", "5: the text ends inside of a check"},
      {head + "checkpoint-end\n", "4: "}};
  for (const auto &[text, message] : mistakes) {
    write_file(file("text"), text);
    const Outcome outcome = qom({"make", file("text"), file("out")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err.find(file("text") + ':' + message), 0u) << outcome.err;
    EXPECT_NE(access(file("out").c_str(), F_OK), 0);
  }
  make("commented", "\n# a long comment " + std::string(70000, 'x') +
                        "\nqom-text 1 # another\r\nscreen 8x8\r\nformat xRGB8888\r\n\r\n"
                        "footer-item-app +0 \"# no comment\"   # one\r\n"
                        "image +0 1x1 0,0 rows\n\n# between\n 11111111 # behind");
}

TEST(Printable, EscapesWhatCouldSteerATerminal) {
  EXPECT_EQ(printable("\"a\\x1b\" \x1b\n\xff\xc2\x9b\xc3\xa9"),
            "\"a\\x1b\" \\x1b\\x0a\\xff\\xc2\\x9b\xc3\xa9");
}

// Odd palettes, plain colours of every width, rectangles outside of the screen, none at all.
TEST_F(TextForm, OfEveryFormatAndPaddingMakesTheSameFile) {
  for (int format = PALETTE8; format <= BGRA8888; ++format) {
    for (const int pad : {0, 8, 16, 32}) {
      SCOPED_TRACE(std::to_string(format) + '-' + std::to_string(pad));
      QomHeader header = sample_header(static_cast<PixelFormat>(format), static_cast<uint8_t>(pad));
      RgbValue palette[] = {{1, 2, 3, 0}, {0xffff, 0, 0, 9}, {0, 0xabcd, 0, 0}};
      header.palette = palette;
      header.palette_size = 3;
      std::string user;
      for (int byte = 1; byte < 256; ++byte) user += static_cast<char>(byte);
      header.user = user.data();
      header.timestamp = 1'700'000'000'123'457;
      std::vector<Record> records = every_record(header);
      const uint64_t time = records.back()->timestamp;
      Record plain = image(header, time, 9, 2);
      auto &outside = ::as<QomImage>(plain);
      std::fill_n(outside.data, outside.length, uint8_t{0xA7});
      outside.x = -32768;
      outside.y = 32767;
      records.push_back(compressed(plain));
      records.push_back(std::move(plain));
      records.push_back(keep(QomImageBlocks{QOM_IMAGE_BLOCKS, time, 0, nullptr}));
      write(header, records);
      const Bytes written = contents();
      const std::string text = qom({"dump", "--text", path}).out;
      unlink(path.c_str());
      make("recording", text);
      EXPECT_EQ(contents(), written);
    }
  }
}

}  // namespace
}  // namespace qomtool
