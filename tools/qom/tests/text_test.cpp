// The text form without files: quoting, patterns, times, and what the parser refuses.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

#include "clock.h"
#include "text/parser.h"
#include "text/pixels.h"
#include "text/quote.h"

namespace qomtool {
namespace {

struct CloseFile {
  void operator()(std::FILE *file) const { std::fclose(file); }
};

const std::string kHead = "qom-text 1\nscreen 8x8\nformat xRGB8888\n";

// Parses to the end and returns the error as "LINE: what", or an empty text.
std::string error_of(const std::string &text) {
  const std::unique_ptr<std::FILE, CloseFile> file(
      fmemopen(const_cast<char *>(text.data()), text.size(), "r"));
  try {
    TextParser parser(file.get());
    while (parser.next() != TextParser::Item::end) continue;
  } catch (const TextError &error) {
    return std::to_string(error.line()) + ": " + error.what();
  }
  return "";
}

// The pixels of a text that is a head and one image.
std::vector<uint8_t> pixels_of(const std::string &text) {
  const std::unique_ptr<std::FILE, CloseFile> file(
      fmemopen(const_cast<char *>(text.data()), text.size(), "r"));
  TextParser parser(file.get());
  EXPECT_EQ(parser.next(), TextParser::Item::record);
  const QomImage &image = as<QomImage>(parser.record());
  return {image.data, image.data + image.length};
}

using Bytes = std::vector<uint8_t>;

TEST(Quote, EscapesWhatCouldSteerATerminal) {
  EXPECT_EQ(quoted("plain \xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80"),
            "\"plain \xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80\"");
  EXPECT_EQ(quoted("\x1b[31m\n\t\r\"\\\x7f"), R"("\x1b[31m\n\t\r\"\\\x7f")");
  // A C1 control, an overlong slash, a surrogate, beyond the last code point, a cut sequence.
  EXPECT_EQ(quoted("\xc2\x9b|\xc0\xaf|\xed\xa0\x80|\xf4\x90\x80\x80|\xe2\x82"),
            R"("\xc2\x9b|\xc0\xaf|\xed\xa0\x80|\xf4\x90\x80\x80|\xe2\x82")");
  EXPECT_EQ(quoted("a\xe2\x80\xae"
                   "b"),
            R"("a\xe2\x80\xaeb")")
      << "right-to-left override";
}

TEST(Quote, NamesOfFilesAndMessages) {
  for (const std::string plain : {"a.qom", "/tmp/\xc3\xa9/-x_1.qom"}) {
    EXPECT_EQ(quoted_name(plain), plain);
  }
  EXPECT_EQ(quoted_name(""), R"("")");
  EXPECT_EQ(quoted_name("a b"), R"("a b")");
  EXPECT_EQ(quoted_name("a: good"), R"("a: good")");
  EXPECT_EQ(quoted_name("a\n"), R"("a\n")");
  EXPECT_EQ(printable("\"a\\x1b\" \x1b\n\xff\xc3\xa9"), "\"a\\x1b\" \\x1b\\x0a\\xff\xc3\xa9");
}

TEST(Quote, ReadsBackEveryByte) {
  std::string all;
  for (int byte = 1; byte < 256; ++byte) all += static_cast<char>(byte);
  size_t used = 0;
  std::string why;
  const std::string text = qomtool::quoted(all) + " rest";
  ASSERT_EQ(unquoted(text, &used, &why), all) << why;
  EXPECT_EQ(text.substr(used), " rest");
}

TEST(Clock, ReadsTheFormsOfTimes) {
  EXPECT_EQ(parse_seconds("12.000001"), 12'000'001u);
  EXPECT_EQ(parse_seconds("0.5"), 500'000u);
  EXPECT_EQ(parse_elapsed("12.5s"), 12'500'000u);
  EXPECT_EQ(parse_elapsed("90:00"), 5'400'000'000u);
  EXPECT_EQ(parse_elapsed("1:02:03.5"), 3'723'500'000u);
  EXPECT_EQ(parse_clock("2024-02-29 23:59:59.25", Zone::utc), 1'709'251'199'250'000u);
  for (const char *wrong :
       {"", "1.", ".5", "1.1234567", "-1", "1e3", " 1", "99999999999999999999"}) {
    EXPECT_FALSE(parse_seconds(wrong)) << wrong;
  }
  for (const char *wrong : {"12.5", "1:60", "1:60:00", "1:2:3:4", "s", "1:", "5000000000000s"}) {
    EXPECT_FALSE(parse_elapsed(wrong)) << wrong;
  }
  for (const char *wrong : {"2023-02-29 00:00:00", "2024-01-01", "2024-01-01 24:00:00",
                            "1969-12-31 23:59:59", "2024-1-1 0:0:0"}) {
    EXPECT_FALSE(parse_clock(wrong, Zone::utc)) << wrong;
  }
}

TEST(Clock, WritesWhatItReads) {
  EXPECT_EQ(parse_seconds(seconds_text(QOM_MAX_TIME)), QOM_MAX_TIME);
  EXPECT_EQ(elapsed_time(1'000'000, 3'723'999'999), "1:02:02.999");
  EXPECT_EQ(elapsed_time(2'000'000, 0), "-0:00:02.000");
}

// The first numbers of the generator for these seeds are published with it.
TEST(Random, IsTheDocumentedGenerator) {
  EXPECT_EQ(pixels_of("qom-text 1\nscreen 8x8\nformat ARGB8888\nimage +0 2x1 0,0 random 1234567\n"),
            Bytes({0x85, 0xfc, 0x08, 0xfb, 0xa5, 0x0f, 0x54, 0x58}));
  // The same numbers without the unused byte, and modulo the size of a palette.
  EXPECT_EQ(pixels_of(kHead + "image +0 1x1 0,0 random 1234567\n"), Bytes({0x85, 0xfc, 0x08, 0}));
  for (uint8_t pixel : pixels_of("qom-text 1\nscreen 8x8\nformat PALETTE8\npalette 0000 0000 0000\n"
                                 "palette ffff ffff ffff\nimage +0 8x8 0,0 random 3\n")) {
    EXPECT_LE(pixel, 1);
  }
}

TEST(Colour, LandsInTheChannelsOfEachFormat) {
  const std::pair<const char *, Bytes> expected[] = {
      {"RGB332", {0xc5}},
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
      {"BGRA8888", {0xff, 0xc0, 0x20, 0x60}},
  };
  for (const auto &[format, bytes] : expected) {
    EXPECT_EQ(pixels_of(std::string("qom-text 1\nscreen 8x8\npad 8\nformat ") + format +
                        "\nimage +0 1x1 0,0 fill rgb:c0/20/60\n"),
              bytes)
        << format;
  }
}

TEST(Parser, TellsTheLineAndTheMistake) {
  const std::pair<std::string, std::string> mistakes[] = {
      {"", "1: the text ends where the first line, \"qom-text 1\", should be"},
      {"qom-text 2\n", "1: version 2 of the text form is not known, only 1"},
      {"qom-text 1\nscreen 8x8\n", "2: the header ends here without a format line"},
      {"qom-text 1\nscreen 8x8\nscreen 8x8\n", "3: a second screen line"},
      {"qom-text 1\nscreen 0x8\n", "2: a width is outside 1 to 16384"},
      {"qom-text 1\nformat xRGB\n", "2: expected a pixel format such as xRGB8888, found \"xRGB\""},
      {"qom-text 1\npad 24\n", "2: a padding is 0, 8, 16 or 32"},
      {kHead + "frobnicate +0\n",
       "4: expected a record such as screen-change or image, found \"frobnicate\""},
      {kHead + "screen-change soon 1x1\n",
       "4: expected a time (12.5, +0.04 or 2026-11-22T21:33:05.5Z), found \"soon\""},
      {kHead + "screen-change 5000000000000 1x1\n",
       "4: expected a time (12.5, +0.04 or 2026-11-22T21:33:05.5Z), found \"5000000000000\""},
      {kHead + "gap +0 +1 asleep\n",
       "4: expected stopped, suspended, late, clock-set or a number, found \"asleep\""},
      {kHead + "screen-change +0 1x1 1\n", "4: expected the end of the line, found \"1\""},
      {kHead + "cursor-position +0 40000,0\n", "4: x is outside -32768 to 32767"},
      {kHead + "footer-item-app +0 \"a\\q\"\n",
       "4: unknown escape \\q in a text (\\n \\r \\t \\\" \\\\ \\xHH are known)"},
      {kHead + "footer-item-app +0 \"a\n", "4: the closing quotation mark is missing"},
      {kHead + "footer-item-app +0 \"\\x00\"\n", "4: a text cannot hold a zero byte"},
      {kHead + "image +0 2x2 0,0 fill 12\n", "4: a pixel takes 8 hexadecimal digits"},
      {kHead + "image +0 16384x16384 0,0 random 1\n", "4: more pixels than one record can hold"},
      {kHead + "image +0 2x2 0,0 rows\n 11111111 22222222\n\n# no more\n",
       "8: the text ends where a row of pixels should be"},
      {kHead + "image +0 2x1 0,0 rows\n 11111111\n", "5: the row does not have 2 pixels"},
      {kHead + "image +0 1x1 0,0 rows\n 1111111122222222\n", "5: the row does not have 1 pixels"},
      {kHead + "image +0 1x1 0,0 rows\n 11111111 | 00\n",
       "5: the row does not have 0 bytes of padding"},
      {kHead + "image-blocks +0\nblock 1x1 0,0 fill 00000000\nscreen-change +0 1x1\n",
       "6: expected \"block\" or \"end\", found \"screen-change\""},
      {kHead + "cursor-image +0 2x2 0,0 hot -1,0 serial 1 fill 00000000\n",
       "4: a hot spot lies inside its image"},
      {"qom-text 1\nscreen 8x8\nformat PALETTE8\nimage +0 1x1 0,0 fill rgb:00/00/00\n",
       "4: a recording with a palette takes palette indexes, two digits each"},
  };
  for (const auto &[text, error] : mistakes) EXPECT_EQ(error_of(text), error) << text;
}

TEST(Parser, TakesCommentsBlankLinesAndDosLineEnds) {
  EXPECT_EQ(error_of("\n# a comment\nqom-text 1 # another\r\nscreen 8x8\r\nformat xRGB8888\r\n\r\n"
                     "footer-item-app +0 \"# no comment\"   # one\r\n"
                     "image +0 1x1 0,0 rows\n\n# between\n 11111111 # behind"),
            "");
}

}  // namespace
}  // namespace qomtool
