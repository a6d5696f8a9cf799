// What needs no display: pixel formats, the comparison of pictures.
#include <gtest/gtest.h>

#include "cell_map.h"
#include "picture.h"
#include "pixel_layout.h"

namespace qom::record {
namespace {

TEST(PixelLayout, WiderChannelsRepeatTheirHighestBits) {
  const uint16_t pixels[] = {0x0000, 0xffff, 0x8410, 0xf800, 0x07e0, 0x001f};
  uint32_t converted[6];
  row_converter(RGB565, xRGB8888)(reinterpret_cast<const uint8_t *>(pixels), 6,
                                  reinterpret_cast<uint8_t *>(converted));
  const std::vector<uint32_t> expected{0x000000, 0xffffff, 0x848284, 0xff0000, 0x00ff00, 0x0000ff};
  EXPECT_EQ(std::vector<uint32_t>(converted, converted + 6), expected);
  EXPECT_EQ(format_of_masks(32, 0xff, 0xff00, 0xff0000), xBGR8888);
  EXPECT_EQ(format_of_masks(32, 0x3ff00000, 0xffc00, 0x3ff), std::nullopt);
  EXPECT_EQ(recording_format("PALETTE8"), std::nullopt);
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
    const std::vector<Rectangle> expected{{32, 16, 5, 5}};
    EXPECT_EQ(changed.rectangles(0), one.change ? expected : std::vector<Rectangle>{})
        << std::hex << one.pixel << " in " << pixel_format_string(one.recording);
  }
}

}  // namespace
}  // namespace qom::record
