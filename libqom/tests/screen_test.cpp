// The recorded screen, beside one that is computed from the records in the plainest way.
#include "qom/screen.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <random>

#include "fixture.h"

namespace {

using Rgb = std::array<uint8_t, 3>;
using Random = std::mt19937;

unsigned pick(Random &random, unsigned below) {
  return std::uniform_int_distribution<unsigned>(0, below - 1)(random);
}

struct ScreenClose {
  void operator()(QomScreen *screen) const { qom_screen_close(screen); }
};
using Screen = std::unique_ptr<QomScreen, ScreenClose>;

// Channels of a format by its name, such as BGR565: position and bits of red, green and blue.
std::map<char, std::pair<unsigned, unsigned>> channels(PixelFormat format) {
  const std::string name = pixel_format_string(format);
  const size_t letters = name.find_first_of("0123456789");
  std::map<char, std::pair<unsigned, unsigned>> found;
  unsigned shift = 0;
  for (size_t i = letters; i-- > 0;) {
    const auto bits = static_cast<unsigned>(name[letters + i] - '0');
    found[name[i]] = {shift, bits};
    shift += bits;
  }
  return found;
}

// A value of so many bits in 8: its bits again and again.
uint8_t widened(unsigned value, unsigned bits) {
  unsigned wide = 0;
  for (unsigned i = 0; i < 8; ++i) wide |= (value >> (bits - 1 - i % bits) & 1u) << (7 - i);
  return static_cast<uint8_t>(wide);
}

uint8_t through(uint8_t value, unsigned bits) {
  return widened(value >> (8 - bits), bits);
}

// What a pixel of the recording looks like, on a screen of the format `shown`.
Rgb colour(const QomHeader &header, PixelFormat shown, uint32_t pixel) {
  Rgb rgb;
  if (header.pixel_format == PALETTE8) {
    const RgbValue entry = pixel < header.palette_size ? header.palette[pixel] : RgbValue{};
    rgb = {static_cast<uint8_t>(entry.red), static_cast<uint8_t>(entry.green),
           static_cast<uint8_t>(entry.blue)};
  } else {
    auto from = channels(header.pixel_format);
    for (size_t i = 0; i < 3; ++i) {
      const auto [shift, bits] = from["RGB"[i]];
      rgb[i] = widened(pixel >> shift & ((1u << bits) - 1), bits);
    }
  }
  auto to = channels(shown);
  for (size_t i = 0; i < 3; ++i) rgb[i] = through(rgb[i], to["RGB"[i]].second);
  return rgb;
}

// The state of a screen, pixel by pixel.
struct Expected {
  int width = 0;
  int height = 0;
  std::vector<Rgb> pixels;
  std::vector<uint32_t> cursor;
  int cursor_width = 0, cursor_height = 0, hot_x = 0, hot_y = 0, cursor_x = 0, cursor_y = 0;
  std::array<std::string, QOM_TEXT_COUNT> texts;  // "-" for none
  uint64_t time = 0;

  void resize(int w, int h) {
    std::vector<Rgb> old = std::move(pixels);
    pixels.assign(static_cast<size_t>(w * h), Rgb{});
    for (int y = 0; y < std::min(h, height); ++y)
      for (int x = 0; x < std::min(w, width); ++x)
        pixels[static_cast<size_t>(y * w + x)] = old[static_cast<size_t>(y * width + x)];
    width = w;
    height = h;
  }

  std::vector<Rgb> with_cursor(PixelFormat shown) const {
    std::vector<Rgb> all = pixels;
    auto to = channels(shown);
    for (int row = 0; row < cursor_height; ++row)
      for (int column = 0; column < cursor_width; ++column) {
        const int x = cursor_x - hot_x + column;
        const int y = cursor_y - hot_y + row;
        if (x < 0 || y < 0 || x >= width || y >= height) continue;
        const uint32_t over = cursor[static_cast<size_t>(row * cursor_width + column)];
        Rgb &below = all[static_cast<size_t>(y * width + x)];
        for (size_t i = 0; i < 3; ++i) {
          const uint32_t sum =
              (over >> (16 - 8 * i) & 255) + (below[i] * (255 - (over >> 24)) + 127) / 255;
          below[i] = through(static_cast<uint8_t>(sum), to["RGB"[i]].second);
        }
      }
    return all;
  }
};

// Makes random records and applies them to an expected screen.
class Session {
 public:
  Session(const QomHeader &header, PixelFormat shown, unsigned seed)
      : header_(header), shown_(shown), random_(seed) {
    state.resize(header.width, header.height);
    state.texts.fill("-");
    state.time = header.timestamp;
  }

  Expected state;

  Record next() {
    state.time += std::array{0u, 1u, 40u, 900u}[pick(random_, 4)];
    switch (pick(random_, 12)) {
      case 0:
        return size(1 + pick(random_, 40), 1 + pick(random_, 30));
      case 1:
        return compressed(rectangle(0, 0, state.width, state.height));
      case 2:
        return rectangle();
      case 3:
        return cursor();
      case 4:
      case 5:
        state.cursor_x = coordinate(60);
        state.cursor_y = coordinate(60);
        return position(state.time, static_cast<int16_t>(state.cursor_x),
                        static_cast<int16_t>(state.cursor_y));
      case 6:
        return text();
      case 7:
        state.texts[QOM_TEXT_USER] = "ada";
        state.texts[QOM_TEXT_TFN] = std::to_string(state.time);
        return keep(QomLastInput{QOM_LAST_INPUT, state.time, const_cast<char *>("ada"),
                                 state.texts[QOM_TEXT_TFN].data()});
      default:
        return blocks();
    }
  }

  // All of the state, as a checkpoint restates it.
  std::vector<Record> restate() {
    std::vector<Record> all =
        list(size(static_cast<unsigned>(state.width), static_cast<unsigned>(state.height)),
             compressed(rectangle(0, 0, state.width, state.height)));
    if (state.cursor_width > 0) {
      std::vector<uint32_t> same = state.cursor;
      all.push_back(cursor_record(same));
    }
    const std::map<int, uint8_t> types = {
        {QOM_TEXT_APP, QOM_FOOTER_ITEM_APP},   {QOM_TEXT_APPFMT, QOM_FOOTER_ITEM_APPFMT},
        {QOM_TEXT_HOST, QOM_FOOTER_ITEM_HOST}, {QOM_TEXT_IP, QOM_FOOTER_ITEM_IP},
        {QOM_TEXT_SID, QOM_FOOTER_ITEM_SID},   {QOM_TEXT_TID, QOM_FOOTER_ITEM_TID}};
    for (const auto &[index, type] : types)
      all.push_back(text_record(type, state.time, value_of(static_cast<size_t>(index))));
    all.push_back(
        keep(QomLastInput{QOM_LAST_INPUT, state.time, const_cast<char *>(value_of(QOM_TEXT_USER)),
                          const_cast<char *>(value_of(QOM_TEXT_TFN))}));
    return all;
  }

 private:
  const char *value_of(size_t text) const {
    return state.texts[text] == "-" ? nullptr : state.texts[text].c_str();
  }
  int coordinate(unsigned range) { return static_cast<int>(pick(random_, range)) - 15; }

  Record size(unsigned width, unsigned height) {
    state.resize(static_cast<int>(width), static_cast<int>(height));
    return screen_change(state.time, static_cast<uint16_t>(width), static_cast<uint16_t>(height));
  }

  // Random pixels, drawn; their bytes as a record holds them.
  Bytes draw(int x, int y, int width, int height) {
    const size_t pixel = pixel_format_bytes_per_pixel(header_.pixel_format);
    const size_t stride = stride_in_bytes(static_cast<uint32_t>(width),
                                          static_cast<uint8_t>(pixel * 8), header_.scanline_pad);
    Bytes bytes(stride * static_cast<size_t>(height));
    const unsigned shades = pick(random_, 2) ? 3 : 256;
    for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(pick(random_, shades) * 77);
    for (int row = std::max(0, -y); row < std::min(height, state.height - y); ++row)
      for (int column = std::max(0, -x); column < std::min(width, state.width - x); ++column) {
        uint32_t value = 0;
        std::memcpy(
            &value,
            bytes.data() + static_cast<size_t>(row) * stride + static_cast<size_t>(column) * pixel,
            pixel);
        state.pixels[static_cast<size_t>((y + row) * state.width + x + column)] =
            colour(header_, shown_, value);
      }
    return bytes;
  }

  Record rectangle(int x, int y, int width, int height) {
    Bytes data = draw(x, y, width, height);
    return keep(QomImage{QOM_IMAGE, state.time, static_cast<uint16_t>(width),
                         static_cast<uint16_t>(height), static_cast<int16_t>(x),
                         static_cast<int16_t>(y), header_.pixel_format, header_.scanline_pad,
                         static_cast<uint32_t>(data.size() / static_cast<size_t>(height)),
                         static_cast<uint32_t>(data.size()), data.data()});
  }
  Record rectangle() {
    const int x = coordinate(50);
    const int y = coordinate(50);
    return rectangle(x, y, 1 + static_cast<int>(pick(random_, 20)),
                     1 + static_cast<int>(pick(random_, 20)));
  }

  Record blocks() {
    Bytes data;
    for (unsigned count = pick(random_, 4); count > 0; --count) {
      const auto x = static_cast<int16_t>(coordinate(50));
      const auto y = static_cast<int16_t>(coordinate(50));
      const auto width = static_cast<uint16_t>(1 + pick(random_, 15));
      const auto height = static_cast<uint16_t>(1 + pick(random_, 15));
      for (const int16_t value : {x, y}) forge::append(&data, value);
      for (const uint16_t value : {width, height}) forge::append(&data, value);
      forge::append(&data, draw(x, y, width, height));
    }
    return compressed(keep(QomImageBlocks{QOM_IMAGE_BLOCKS, state.time,
                                          static_cast<uint32_t>(data.size()), data.data()}));
  }

  Record cursor() {
    state.cursor_width = 1 + static_cast<int>(pick(random_, 12));
    state.cursor_height = 1 + static_cast<int>(pick(random_, 12));
    state.hot_x = static_cast<int>(pick(random_, 5)) % (state.cursor_width + 1);
    state.hot_y = static_cast<int>(pick(random_, 5)) % (state.cursor_height + 1);
    state.cursor_x = coordinate(60);
    state.cursor_y = coordinate(60);
    std::vector<uint32_t> image(static_cast<size_t>(state.cursor_width * state.cursor_height));
    for (uint32_t &value : image) value = pick(random_, 2) ? 0 : random_() & 0xFF7F7F7F;
    return cursor_record(image);
  }
  Record cursor_record(std::vector<uint32_t> &image) {
    state.cursor = image;
    return keep(QomCursorImage{
        QOM_CURSOR_IMAGE, state.time, static_cast<uint16_t>(state.cursor_width),
        static_cast<uint16_t>(state.cursor_height), static_cast<int16_t>(state.cursor_x),
        static_cast<int16_t>(state.cursor_y), static_cast<uint16_t>(state.hot_x),
        static_cast<uint16_t>(state.hot_y), 1, static_cast<uint32_t>(image.size() * 4),
        reinterpret_cast<uint8_t *>(image.data())});
  }

  Record text() {
    const bool app = pick(random_, 2);
    std::string &value = state.texts[app ? QOM_TEXT_APP : QOM_TEXT_SID];
    value = pick(random_, 4) ? "t" + std::to_string(pick(random_, 3)) : "-";
    return text_record(app ? QOM_FOOTER_ITEM_APP : QOM_FOOTER_ITEM_SID, state.time,
                       value == "-" ? nullptr : value.c_str());
  }

  QomHeader header_;
  PixelFormat shown_;
  Random random_;
};

std::vector<Rgb> picture_of(QomScreen *screen, bool with_cursor) {
  QomPicture picture;
  EXPECT_EQ(qom_screen_picture(screen, with_cursor, &picture), 0);
  std::vector<Rgb> pixels(size_t{picture.width} * picture.height);
  qom_picture_rgb(&picture, {0, 0, picture.width, picture.height}, pixels.data()->data(),
                  size_t{picture.width} * 3);
  return pixels;
}

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

std::string text_of(const QomScreen *screen, int text) {
  const char *value = qom_screen_text(screen, static_cast<QomScreenText>(text));
  return value ? value : "-";
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
