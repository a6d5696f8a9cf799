// The recorded screen, beside one that is computed from the records in the plainest way.
#include "qom/screen.h"

#include <algorithm>

#include "session.h"

namespace {

class ScreenTest : public RecordingTest {
 protected:
  // Writes a session; what the screen is after each of its records, and before the first.
  std::vector<Expected> record(const QomHeader &header, PixelFormat shown, unsigned seed,
                               int count) {
    Session session(header, shown, seed);
    std::vector<Expected> states = {session.state};
    QomWriter *writer = create(header);
    for (int i = 0; i < count; ++i) {
      if (i % 40 == 30) {
        EXPECT_EQ(qom_writer_begin_checkpoint(writer), 0);
        // Only its picture changes anything, since here it is a new one.
        const Expected left = session.state;
        for (const Record &record : session.restate()) {
          EXPECT_EQ(qom_writer_append(writer, record.get()), 0) << qom_reader_error();
          states.push_back(record->type == QOM_SCREEN_CHANGE ? left : session.state);
        }
        EXPECT_EQ(qom_writer_end_checkpoint(writer), 0) << qom_reader_error();
      } else {
        append(writer, list(session.next()));
        states.push_back(session.state);
      }
    }
    close(writer);
    return states;
  }
};

// Pauses now and then.
int pause_sometimes(void *random) {
  return pick(*static_cast<Random *>(random), 5) == 0;
}

QomScreenResult go(QomScreen *screen, size_t place) {
  QomScreenResult result;
  do result = qom_screen_go(screen, place);
  while (result == QOM_SCREEN_PAUSED);
  return result;
}

bool lies_in(const std::vector<QomRectangle> &areas, int x, int y) {
  return std::any_of(areas.begin(), areas.end(), [&](const QomRectangle &area) {
    return x >= area.x && y >= area.y && x < area.x + area.width && y < area.y + area.height;
  });
}

}  // namespace

TEST_F(ScreenTest, RandomMovesShowWhatWasRecorded) {
  std::vector<RgbValue> palette(200);
  for (size_t i = 0; i < palette.size(); ++i)
    palette[i] = {static_cast<uint16_t>(i * 77), static_cast<uint16_t>(i * 991),
                  static_cast<uint16_t>(i), 0};
  unsigned seed = 0;
  for (const PixelFormat from :
       {PALETTE8, RGB332, BGR233, RGB565, BGR565, xRGB8888, xBGR8888, RGBx8888, BGRx8888})
    for (const PixelFormat to : {RGB565, BGR565, xRGB8888, xBGR8888}) {
      SCOPED_TRACE(std::string(pixel_format_string(from)) + " as " + pixel_format_string(to));
      QomHeader header = sample_header(from, static_cast<uint8_t>(8 << seed % 3));
      if (from == PALETTE8) header.palette = palette.data();
      header.palette_size = from == PALETTE8 ? static_cast<uint16_t>(palette.size()) : 0;
      const std::vector<Expected> states = record(header, to, ++seed, 120);
      const Reader reader = open();
      Random random(seed);
      QomScreenOptions options = {};
      options.pixel_format = to;
      options.spacing = 1 + pick(random, 3000);
      options.memory = seed % 2 ? 0 : 40000;
      options.pause = pause_sometimes;
      options.context = &random;
      const Screen screen(qom_screen_open(reader.get(), &options));
      ASSERT_TRUE(screen) << qom_reader_error();
      ASSERT_EQ(qom_screen_length(screen.get()), states.size() - 1);
      std::vector<Rgb> before;
      for (int move = 0; move < 40; ++move) {
        const size_t place = pick(random, static_cast<unsigned>(states.size()));
        const Expected &expected = states[place];
        ASSERT_EQ(go(screen.get(), place), QOM_SCREEN_REACHED) << qom_reader_error();
        ASSERT_EQ(qom_screen_place(screen.get()), place);
        const std::vector<Rgb> plain = picture_of(screen.get(), false);
        ASSERT_EQ(plain, expected.pixels) << "at " << place;
        ASSERT_EQ(picture_of(screen.get(), true), expected.with_cursor(to)) << "at " << place;
        for (int i = 0; i < QOM_TEXT_COUNT; ++i)
          ASSERT_EQ(text_of(screen.get(), i), expected.texts[static_cast<size_t>(i)]);
        std::vector<QomRectangle> changes(1 + pick(random, 8));
        changes.resize(qom_screen_changes(screen.get(), changes.data(), changes.size()));
        for (int i = 0; before.size() == plain.size() && i < expected.width * expected.height; ++i)
          if (before[static_cast<size_t>(i)] != plain[static_cast<size_t>(i)]) {
            ASSERT_TRUE(lies_in(changes, i % expected.width, i / expected.width));
          }
        before = plain;
      }
    }
}

TEST_F(ScreenTest, TimesOfChangesAreThoseOfRecordsThatDraw) {
  const std::vector<Expected> states = record(sample_header(), xRGB8888, 5, 200);
  const Reader reader = open();
  const Screen screen(qom_screen_open(reader.get(), nullptr));
  const QomRectangle corner = {0, 0, 6, 6};
  for (size_t i = 0; i + 1 < states.size(); ++i) {
    const uint64_t time = states[i].time;
    uint64_t next = 0;
    size_t later = i + 1;
    while (later + 1 < states.size() && states[later].time <= time) ++later;
    const bool draws = states[later].pixels != states[later - 1].pixels;
    for (const QomRectangle *area : {static_cast<const QomRectangle *>(nullptr), &corner}) {
      if (qom_screen_next_change(screen.get(), time, area, &next) != 1) continue;
      EXPECT_GT(next, time);
      uint64_t back = 0;
      ASSERT_EQ(qom_screen_previous_change(screen.get(), next + 1, area, &back), 1);
      EXPECT_EQ(back, next);
      // Nothing in between.
      if (qom_screen_previous_change(screen.get(), next, area, &back) == 1) {
        EXPECT_LE(back, time);
      }
    }
    if (draws && states[later].time > time &&
        qom_screen_next_change(screen.get(), time, nullptr, &next) == 1) {
      EXPECT_EQ(next, states[later].time);
    }
  }
}

TEST_F(ScreenTest, DamageIsToldUntilAFullPictureRestatesAll) {
  for (unsigned seed = 1; seed <= 12; ++seed) {
    const std::vector<Expected> states = record(sample_header(), xRGB8888, seed, 160);
    Random random(seed);
    const std::vector<QomIndexEntry> all = entries();
    Bytes bytes = contents();
    for (int i = 0; i < 3; ++i) {
      const QomIndexEntry &entry = all[pick(random, static_cast<unsigned>(all.size()))];
      bytes[static_cast<size_t>(entry.position) + pick(random, 32 + entry.length)] ^= 1;
    }
    put(bytes);
    const Reader reader = open();
    QomStretch *found = nullptr;
    size_t count = 0;
    ASSERT_EQ(qom_screen_untrusted(reader.get(), nullptr, nullptr, &found, &count), 0)
        << qom_reader_error();
    const std::vector<QomStretch> stretches(found, found + count);
    std::free(found);
    const Screen screen(qom_screen_open(reader.get(), nullptr));
    for (int move = 0; move < 60; ++move) {
      const size_t place = pick(random, static_cast<unsigned>(states.size()));
      const uint64_t time = states[place].time;
      ASSERT_EQ(go(screen.get(), place), QOM_SCREEN_REACHED);
      const bool listed = std::any_of(
          stretches.begin(), stretches.end(),
          [&](const QomStretch &stretch) { return time >= stretch.begin && time <= stretch.end; });
      if (picture_of(screen.get(), false) == states[place].pixels) continue;
      EXPECT_FALSE(qom_screen_is_trusted(screen.get())) << seed << " at " << place;
      EXPECT_TRUE(listed) << seed << " at " << place;
    }
  }
}

TEST_F(ScreenTest, AStrictScreenStopsAtWhatItCannotApply) {
  record(sample_header(), xRGB8888, 3, 60);
  const std::vector<QomIndexEntry> all = entries();
  Bytes bytes = contents();
  bytes[static_cast<size_t>(all[20].position) + 33] ^= 1;
  put(bytes);
  const Reader reader = open();
  QomScreenOptions options = {};
  options.strict = 1;
  const Screen screen(qom_screen_open(reader.get(), &options));
  EXPECT_EQ(go(screen.get(), 20), QOM_SCREEN_REACHED);
  EXPECT_EQ(go(screen.get(), 25), QOM_SCREEN_FAILED);
  EXPECT_EQ(qom_screen_place(screen.get()), 20u);
  EXPECT_EQ(go(screen.get(), 10), QOM_SCREEN_REACHED);
  options.pixel_format = RGB332;
  EXPECT_FALSE(qom_screen_open(reader.get(), &options));
  EXPECT_STREQ(qom_reader_error(), "no conversion from pixel format xRGB8888 to RGB332");
}

TEST_F(ScreenTest, APauseWithinARecordIsNoPlace) {
  const QomHeader header = sample_header(RGB332, 8);
  Bytes data;
  for (int i = 0; i < 200000; ++i) {
    for (const auto value : {static_cast<int16_t>(i % 64), static_cast<int16_t>(i / 64 % 48)})
      forge::append(&data, value);
    for (int side = 0; side < 2; ++side) forge::append(&data, uint16_t{1});
    data.push_back(0xFF);
  }
  write(header,
        list(image(header, 1000, 64, 48),
             compressed(keep(QomImageBlocks{QOM_IMAGE_BLOCKS, 1001,
                                            static_cast<uint32_t>(data.size()), data.data()}))));
  const Reader reader = open();
  QomScreenOptions options = {};
  options.pause = [](void *) { return 1; };
  const Screen screen(qom_screen_open(reader.get(), &options));
  ASSERT_EQ(go(screen.get(), 1), QOM_SCREEN_REACHED);
  const std::vector<Rgb> first = picture_of(screen.get(), false);
  ASSERT_EQ(qom_screen_go(screen.get(), 2), QOM_SCREEN_PAUSED);
  EXPECT_EQ(qom_screen_place(screen.get()), 1u);
  EXPECT_NE(picture_of(screen.get(), false), first);
  ASSERT_EQ(go(screen.get(), 1), QOM_SCREEN_REACHED);
  EXPECT_EQ(picture_of(screen.get(), false), first);
  ASSERT_EQ(go(screen.get(), 2), QOM_SCREEN_REACHED);
  EXPECT_EQ(picture_of(screen.get(), false), std::vector<Rgb>(64 * 48, Rgb{255, 255, 255}));
}
