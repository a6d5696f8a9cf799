// The timeline over the index of real recordings; no display is needed.

#include <gtest/gtest.h> /* before Xlib, whose macros it does not survive */
#include <qom/writer.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "recording/timeline.h"

namespace {

constexpr uint64_t kStart = 1000000; /* the header's time */

class Timeline : public testing::Test {
 protected:
  /* Opens a recording with one record at each time; the first image is `first`. */
  void record(const std::vector<uint64_t> &times, size_t first) {
    QomHeader header{};
    header.timestamp = kStart;
    header.depth = 24;
    header.width = header.height = 1;
    header.pixel_format = xRGB8888;
    header.scanline_pad = 32;
    QomWriter *writer = qom_writer_create(path_.c_str(), &header);
    ASSERT_NE(writer, nullptr);
    for (const uint64_t time : times) {
      QomCursorPosition position{};
      position.type = QOM_CURSOR_POSITION;
      position.timestamp = time;
      ASSERT_EQ(qom_writer_append(writer, &position), 0);
    }
    ASSERT_EQ(qom_writer_close(writer), 0);
    view_.reader = qom_reader_open(path_.c_str());
    ASSERT_NE(view_.reader, nullptr);
    view_.header = qom_info_header(view_.reader);
    view_.entries = qom_reader_index(view_.reader);
    view_.index_of_first_frame = first;
    view_.playing.period_in_us = 100000;
    view_.number_of_frames = (duration_in_us(&view_) + 99999) / 100000;
  }
  void TearDown() override {
    qom_reader_close(view_.reader);
    unlink(path_.c_str());
  }

  QomView view_{};

 private:
  std::string path_ = testing::TempDir() + "timeline." + std::to_string(getpid()) + ".qom";
};

TEST_F(Timeline, FramesCoverTheTimeFromTheFirstImageToTheLastRecord) {
  record({2000000, 5000000, 5100000, 5250001}, 1);
  EXPECT_EQ(duration_in_us(&view_), 250001u);
  EXPECT_EQ(time_of_frame(&view_, 0), 5000000u);
  EXPECT_EQ(time_of_frame(&view_, 3), 5300000u);
  EXPECT_EQ(frame_at_time(&view_, 5199999), 1u);
  EXPECT_EQ(frame_at_time(&view_, 5200000), 2u);
  EXPECT_EQ(time_elapsed_at_index(&view_, 0), 1000000u);
  EXPECT_EQ(view_duration(&view_), 4250001u);
}

TEST_F(Timeline, AStepAppliesWhatIsBeforeTheTimeOfTheNextFrame) {
  record({2000000, 5000000, 5000000, 5099999, 5100000, 5100001, 5300000, 5300000}, 2);
  /* The first step starts over at the first record; the last record belongs to no step. */
  const size_t first_records[] = {0, 4, 6, 7};
  for (size_t frame = 0; frame < 4; ++frame)
    EXPECT_EQ(index_of_frame(&view_, frame), first_records[frame]) << frame;
  EXPECT_EQ(index_of_frame(&view_, 1000), 7u);
  EXPECT_EQ(index_at_time(&view_, 0), 0u);
  EXPECT_EQ(index_at_time(&view_, UINT64_MAX), 7u);
}

TEST_F(Timeline, ARecordingThatEndsWithItsFirstImageHasNoFrames) {
  record({2000000, 2500000}, 1);
  EXPECT_TRUE(last_frame_is_reached(&view_));
  EXPECT_EQ(index_of_frame(&view_, 0), 0u);
}

TEST_F(Timeline, FramesUpToTwoAwayAreAlmostTheCurrentOne) {
  view_.current_frame = 10;
  for (int frame = 0; frame < 20; ++frame)
    EXPECT_EQ(almost_current_frame(&view_, frame), frame >= 8 && frame <= 12) << frame;
  view_.current_frame = 0;
  EXPECT_FALSE(almost_current_frame(&view_, INT32_MAX));
  EXPECT_FALSE(almost_current_frame(&view_, INT32_MIN));
}

}  // namespace
