// What needs no display: texts of windows, gaps found by the clocks, large cursors, pictures.
#include <gtest/gtest.h>

#include "cell_map.h"
#include "clock.h"
#include "cursor_scaling.h"
#include "gap_watch.h"
#include "picture.h"
#include "property_text.h"

namespace qom::record {
namespace {

TEST(PropertyText, ComesInManyEncodings) {
  constexpr auto utf8 = TextEncoding::utf8;
  constexpr auto plain = TextEncoding::plain;
  constexpr auto compound = TextEncoding::compound;
  const struct {
    std::string bytes;
    TextEncoding encoding;
    std::string text;
    bool cut = false;
  } cases[] = {
      {"a\xe2\x82", utf8, "a", true},
      {"\xff\xc0\xaf\xed\xa0\x80z\xf5", utf8, "\ufffd\ufffd\ufffd\ufffd\ufffd\ufffdz\ufffd"},
      {"caf\xe9", plain, "caf\u00e9"},
      {"caf\xc3\xa9 \xe2\x82", plain, "caf\u00e9 ", true},
      {"\x1b-F\xe1\x1b-A\xe9", compound, "\u03b1\u00e9"},               // Greek, Latin
      {"\x1b$(B\x46\x7c\x4b\x5c\x1b(B a", compound, "\u65e5\u672c a"},  // Japanese
      {"\x1b$)C\xc7\xd1 \x1b$)A\xd6\xd0", compound, "\ud55c \u4e2d"},   // Korean, Chinese
      {"a\x1b%G\xe2\x82\xac\x1b%@\xe9", compound, "a\u20ac\u00e9"},     // UTF-8 within
      {"\x1b%/1\x80\x8ciso8859-15\x02\xa4z", compound, "\u20acz"},      // a named encoding
      {"\x1b%/1\x80\x8eISO-2022-KR\x02zzz", compound, "\ufffdz"},       // none of ours
      {"\x1b$(B\x46", compound, ""},                                    // half a character
      {"a\x1b$", compound, "a"},
      {"a\x1b%/1\xff\xff", compound, "a"}};
  for (const auto &[bytes, encoding, text, cut] : cases) {
    EXPECT_EQ(utf8_of(bytes, encoding, cut), text) << testing::PrintToString(bytes);
  }
}

// Each case begins with a recorder that fell asleep at 0 for one second, all clocks in step.
TEST(GapWatch, TellsWhatTheClocksShow) {
  const struct {
    const char *what;
    Clocks wakes;
    Clocks rests;      // after it has worked
    int64_t recorded;  // its last record
    std::vector<Gap> gaps;
  } cases[] = {{"in time", {1, 1, 1}, {2, 2, 2}, 1, {}},
               {"stopped", {9, 9, 9}, {9, 9, 9}, 9, {{QOM_GAP_STOPPED, 0, 9, 0}}},
               {"asleep", {9, 1, 9}, {9, 1, 9}, 9, {{QOM_GAP_SUSPENDED, 0, 9, 0}}},
               {"a slow disk", {1, 1, 1}, {20, 20, 20}, 2, {{QOM_GAP_LATE, 2, 20, 0}}},
               {"a clock set back", {1, 1, -99}, {2, 2, -98}, 1, {{QOM_GAP_CLOCK_SET, 0, 1, -100}}},
               {"asleep, and set",
                {9, 1, 19},
                {9, 1, 19},
                9,
                {{QOM_GAP_SUSPENDED, 0, 9, 0}, {QOM_GAP_CLOCK_SET, 0, 9, 10}}}};
  const auto in_seconds = [](Clocks clocks) {
    return Clocks{clocks.steady * second, clocks.awake * second, (clocks.wall + 1000) * second};
  };
  for (const auto &one : cases) {
    GapWatch watch(in_seconds({0, 0, 0}));
    EXPECT_TRUE(watch.rests(in_seconds({0, 0, 0}), second, 0).empty());
    std::vector<Gap> found = watch.wakes(in_seconds(one.wakes));
    const auto later = watch.rests(in_seconds(one.rests), 0, one.recorded * second);
    found.insert(found.end(), later.begin(), later.end());
    for (Gap &gap : found) {
      gap = {gap.reason, gap.begin / second, gap.end / second, gap.clock_offset / second};
    }
    EXPECT_TRUE(found == one.gaps) << one.what;
  }
}

TEST(CursorScaling, TakesMeansAndKeepsTheHotSpot) {
  const std::vector<uint32_t> pixels{0xff000000, 0xffffffff, 0x80402000, 0, 0x01000000, 0};
  const CursorShape shape{3, 2, 3, 1, 0, pixels};
  EXPECT_TRUE(scaled_to_fit(shape, 3) == shape);
  const CursorShape half{2, 1, 1, 0, 0, {0x80404040, 0x40201000}};
  EXPECT_TRUE(scaled_to_fit(shape, 2) == half);
}

TEST(Picture, OnlyWhatTheRecordingShowsIsAChange) {
  struct {
    PixelFormat recording;
    uint32_t pixel;
    bool change;
  } cases[] = {{xRGB8888, 0x00000001, true}, {xRGB8888, 0xff000000, false},
               {RGB332, 0x001f1f3f, false},  {RGB332, 0x00000040, true},
               {RGB565, 0x00070307, false},  {RGB565, 0x00000400, true}};
  for (const auto &one : cases) {
    Picture picture(37, 21, xRGB8888, one.recording);
    std::vector<uint32_t> grabbed(5 * 5);
    grabbed[24] = one.pixel;  // the picture's last one
    CellMap changed(37, 21, 16, 8);
    picture.update({{32, 16, 5, 5}, reinterpret_cast<uint8_t *>(grabbed.data()), 20}, changed);
    EXPECT_EQ(changed.rectangles(0).size(), one.change)
        << std::hex << one.pixel << " in " << pixel_format_string(one.recording);
  }
}

}  // namespace
}  // namespace qom::record
