// Lossy pixels: what is near, what stays exact, what hostile bytes cause, and the marks.
#include <cmath>
#include <numbers>

#include "fixture.h"
#include "session.h"

namespace {

constexpr PixelFormat formats[] = {xRGB8888, xBGR8888, RGBx8888, BGRx8888};

// A rectangle that looks like a photograph.
Bytes photograph(PixelFormat format, unsigned width, unsigned height) {
  auto channel = channels(format);
  Bytes pixels;
  for (unsigned y = 0; y < height; ++y)
    for (unsigned x = 0; x < width; ++x) {
      const auto wave = [&](double a, double b) {
        return static_cast<uint32_t>(127 + 120 * std::sin(a * x / 20 + b * y / 30));
      };
      forge::append(&pixels, wave(1, 1) << channel['R'].first | wave(1, -1) << channel['G'].first |
                                 wave(.5, 2) << channel['B'].first);
    }
  return pixels;
}

Bytes block(int16_t x, int16_t y, uint16_t width, uint16_t height, PixelFormat format = xRGB8888) {
  Bytes bytes;
  for (const auto value : {static_cast<uint16_t>(x), static_cast<uint16_t>(y), width, height})
    forge::append(&bytes, value);
  return bytes + photograph(format, width, height);
}

Record lossy_blocks(const Bytes &blocks, PixelFormat format = xRGB8888, int quality = 90,
                    uint64_t time = 1000) {
  const QomImageBlocks plain = {QOM_IMAGE_BLOCKS, time, static_cast<uint32_t>(blocks.size()),
                                const_cast<uint8_t *>(blocks.data())};
  return Record(
      reinterpret_cast<QomRecord *>(qom_image_blocks_compress_lossy(&plain, format, quality)));
}

Record photographic_image(uint16_t width, uint16_t height, const Bytes &pixels) {
  QomImage image = {};
  image.type = QOM_IMAGE;
  image.timestamp = 1000;
  image.width = width;
  image.height = height;
  image.pixel_format = xRGB8888;
  image.scanline_pad = 32;
  image.bytes_per_line = 4u * width;
  image.length = static_cast<uint32_t>(pixels.size());
  image.data = const_cast<uint8_t *>(pixels.data());
  return keep(image);
}

Bytes data_of(const Record &record) {
  const bool blocks = record->type == QOM_IMAGE_BLOCKS;
  const uint8_t *data = blocks ? as<QomImageBlocks>(record).data : as<QomImage>(record).data;
  const uint32_t length = blocks ? as<QomImageBlocks>(record).length : as<QomImage>(record).length;
  return {data, data + length};
}

// The mean square of what is wrong with a byte.
double error(const Bytes &a, const Bytes &b) {
  double sum = 0;
  for (size_t i = 0; i < a.size(); ++i) sum += (a[i] - b[i]) * (a[i] - b[i]);
  return sum / static_cast<double>(a.size());
}

std::vector<QomRectangle> areas_of(const Record &record) {
  std::vector<QomRectangle> areas(qom_lossy_areas(record.get(), nullptr, 0));
  qom_lossy_areas(record.get(), areas.data(), areas.size());
  return areas;
}

std::string text_of(const std::vector<QomRectangle> &areas) {
  std::string text;
  for (const QomRectangle &area : areas)
    text += (text.empty() ? "" : " ") + std::to_string(area.width) + "x" +
            std::to_string(area.height) + "+" + std::to_string(area.x) + "+" +
            std::to_string(area.y);
  return text;
}

class Lossy : public RecordingTest {
 protected:
  // The second reader restores the same pixels from a record of lossy ones.
  void expect_by_the_book(const Record &packed, PixelFormat format = xRGB8888) {
    write(sample_header(format), list(Record(qom_record_dup(packed.get())), uncompressed(packed)));
    const Texts pixels = independent_pixels();
    ASSERT_EQ(pixels.size(), 2u);
    EXPECT_TRUE(pixels[0] == pixels[1]) << pixel_format_string(format);
  }

  void SetUp() override {
    if (!qom_can_compress_lossy()) GTEST_SKIP() << "built without the codec";
  }
};

TEST_F(Lossy, PixelsAreNearInEveryFormatAndTheSameInParts) {
  for (const PixelFormat format : formats) {
    const Bytes plain = block(-3, 5, 301, 77, format) + block(400, 5, 64, 64, format);
    const Record packed = lossy_blocks(plain, format);
    ASSERT_TRUE(packed);
    EXPECT_LT(as<QomCompressedImageBlocks>(packed).compressed_length, plain.size() / 5);
    const Record back = uncompressed(packed);
    ASSERT_TRUE(back) << qom_reader_error();
    ASSERT_EQ(data_of(back).size(), plain.size());
    EXPECT_LT(error(data_of(back), plain), 12) << pixel_format_string(format);
    EXPECT_EQ(describe(uncompressed_in_parts(packed, 5000).get()), describe(back.get()));
    EXPECT_EQ(text_of(areas_of(packed)), "301x77+-3+5 64x64+400+5");
    expect_by_the_book(packed, format);
  }
}

TEST_F(Lossy, WhatIsTooSmallOrOfAnotherFormatStaysExact) {
  const Bytes small = block(1, 2, 3, 4);
  const Record mixed = lossy_blocks(small + block(10, 10, 64, 64));
  EXPECT_EQ(text_of(areas_of(mixed)), "64x64+10+10");
  expect_by_the_book(mixed);
  const Bytes back = data_of(uncompressed(mixed));
  EXPECT_EQ(Bytes(back.end() - static_cast<long>(small.size()), back.end()), small);
  EXPECT_TRUE(areas_of(lossy_blocks(small)).empty());
  EXPECT_TRUE(areas_of(lossy_blocks(block(0, 0, 64, 64, ARGB8888), ARGB8888)).empty());
}

TEST_F(Lossy, AnImageHasLossyAreasAndIsExactBesides) {
  const Bytes pixels = photograph(xRGB8888, 300, 200);
  const Record plain = photographic_image(300, 200, pixels);
  const QomRectangle area = {100, 50, 128, 96};
  const Record packed(
      reinterpret_cast<QomRecord *>(qom_image_compress_lossy(&as<QomImage>(plain), &area, 1, 90)));
  ASSERT_TRUE(packed);
  expect_by_the_book(packed);
  const Bytes back = data_of(uncompressed(packed));
  EXPECT_EQ(describe(uncompressed_in_parts(packed, 5000).get()),
            describe(uncompressed(packed).get()));
  bool differs = false;
  for (int y = 0; y < 200; ++y)
    for (int x = 0; x < 300; ++x) {
      const bool inside = x >= 100 && x < 228 && y >= 50 && y < 146;
      const bool same =
          std::memcmp(&back[size_t(y * 300 + x) * 4], &pixels[size_t(y * 300 + x) * 4], 4) == 0;
      ASSERT_TRUE(same || inside) << x << "," << y;
      differs = differs || !same;
    }
  EXPECT_TRUE(differs);
  EXPECT_LT(error(back, pixels), 12);

  const Record marked(
      reinterpret_cast<QomRecord *>(qom_image_compress_marked(&as<QomImage>(plain), &area, 1)));
  EXPECT_EQ(data_of(uncompressed(marked)), pixels);
  EXPECT_EQ(text_of(areas_of(marked)), "128x96+100+50");
  const QomRectangle outside = {200, 50, 128, 96};
  EXPECT_FALSE(qom_image_compress_lossy(&as<QomImage>(plain), &outside, 1, 90));
}

// Whatever a byte of it becomes, the answer is pixels of the right size or a refusal.
constexpr int scan_head = 14;  // bytes before the data of a scan of three components

TEST_F(Lossy, ChangedBytesAreRefusedOrGivePixels) {
  const Record packed = lossy_blocks(block(0, 0, 48, 40) + block(1, 2, 2, 2), xRGB8888, 50);
  auto &blocks = as<QomCompressedImageBlocks>(packed);
  int refused = 0;
  for (uint32_t at = 1; at < blocks.compressed_length; ++at)
    for (const int change : {0x01, 0x80, 0xFF}) {
      blocks.data[at] = static_cast<uint8_t>(blocks.data[at] ^ change);
      const Record back = uncompressed_in_parts(packed, 3000);
      refused += !back;
      ASSERT_TRUE(!back || data_of(back).size() == blocks.length);
      blocks.data[at] = static_cast<uint8_t>(blocks.data[at] ^ change);
    }
  EXPECT_GT(refused, 300);
  // An end within the data, of which the codec would only warn.
  const uint32_t whole = blocks.compressed_length;
  constexpr uint8_t scan[] = {0xFF, 0xDA};
  const auto begin = static_cast<uint32_t>(
      std::search(blocks.data, blocks.data + whole, scan, scan + 2) - blocks.data + scan_head);
  ASSERT_LT(begin + 100, whole);
  for (uint32_t at = begin; at < begin + 100; ++at) {
    const uint8_t before[] = {blocks.data[at], blocks.data[at + 1]};
    blocks.data[at] = 0xFF;
    blocks.data[at + 1] = 0xD9;
    ASSERT_FALSE(uncompressed(packed)) << at;
    std::copy_n(before, 2, blocks.data + at);
  }
  for (blocks.compressed_length = 2; blocks.compressed_length < whole; ++blocks.compressed_length)
    ASSERT_FALSE(uncompressed(packed)) << blocks.compressed_length;
}

// --- marks -----------------------------------------------------------------------------------

constexpr uint16_t side = 120;  // of the screen at first

// Which pixels are lossy, one by one.
using Grid = std::vector<bool>;

struct Marks {
  int width = side;
  int height = side;
  Grid grid = Grid(size_t{side} * side);

  Grid::reference at(int x, int y) { return grid[size_t(y * width + x)]; }

  void set(const QomRectangle &area, bool lossy) {
    for (int y = std::max(area.y, 0); y < std::min(area.y + area.height, height); ++y)
      for (int x = std::max(area.x, 0); x < std::min(area.x + area.width, width); ++x)
        at(x, y) = lossy;
  }

  void copy(const QomCopy &copy) {
    Marks old = *this;
    const auto inside = [&](int x, int y) { return x >= 0 && y >= 0 && x < width && y < height; };
    for (int y = 0; y < copy.height; ++y)
      for (int x = 0; x < copy.width; ++x)
        if (inside(copy.x + x, copy.y + y) && inside(copy.to_x + x, copy.to_y + y))
          at(copy.to_x + x, copy.to_y + y) = old.at(copy.x + x, copy.y + y);
  }

  void resize(int w, int h) {
    Marks old = *this;
    width = w;
    height = h;
    grid.assign(size_t(w * h), false);
    for (int y = 0; y < std::min(h, old.height); ++y)
      for (int x = 0; x < std::min(w, old.width); ++x) at(x, y) = old.at(x, y);
  }

  double share() const {
    return static_cast<double>(std::count(grid.begin(), grid.end(), true)) /
           static_cast<double>(grid.size());
  }
};

Grid marks_of(QomScreen *screen) {
  QomPicture picture;
  EXPECT_EQ(qom_screen_picture(screen, 0, &picture), 0);
  QomRectangle areas[QOM_MAX_LOSSY_AREAS];
  const size_t count = qom_screen_lossy(screen, areas, QOM_MAX_LOSSY_AREAS);
  Marks marks;
  marks.resize(picture.width, picture.height);
  for (size_t i = 0; i < count; ++i) marks.set(areas[i], true);
  return marks.grid;
}

// A session of every record that has to do with marks, and where they are after each.
class MarkedSession {
 public:
  explicit MarkedSession(unsigned seed) : random_(seed) {}

  // The next record or, of a checkpoint, records.
  std::vector<Record> next(bool *checkpoint) {
    *checkpoint = false;
    time_ += pick(random_, 1000);
    const QomRectangle area = {int(pick(random_, 100)) - 10, int(pick(random_, 100)) - 10,
                               int(16 + pick(random_, 40)), int(16 + pick(random_, 40))};
    const Bytes bytes =
        block(int16_t(area.x), int16_t(area.y), uint16_t(area.width), uint16_t(area.height));
    switch (pick(random_, 6)) {
      case 0:
      case 1:
        marks.set(area, true);
        return list(lossy_blocks(bytes, xRGB8888, 50, time_));
      case 2:
        marks.set(area, false);
        return list(compressed(
            keep(QomImageBlocks{QOM_IMAGE_BLOCKS, time_, static_cast<uint32_t>(bytes.size()),
                                const_cast<uint8_t *>(bytes.data())})));
      case 3: {
        QomCopy copy = {int16_t(area.x),
                        int16_t(area.y),
                        uint16_t(area.width),
                        uint16_t(area.height),
                        int16_t(pick(random_, 100)),
                        int16_t(pick(random_, 100))};
        marks.copy(copy);
        return list(keep(QomCopyArea{QOM_COPY_AREA, time_, 1, &copy}));
      }
      case 4: {
        const auto width = static_cast<uint16_t>(60 + pick(random_, 90));
        const auto height = static_cast<uint16_t>(60 + pick(random_, 90));
        marks.resize(width, height);
        return list(screen_change(time_, width, height));
      }
      default:
        *checkpoint = true;
        return restate();
    }
  }

  Marks marks;

 private:
  // Keeps one mark, and makes all else exact.
  std::vector<Record> restate() {
    const auto width = static_cast<uint16_t>(marks.width);
    const auto height = static_cast<uint16_t>(marks.height);
    const Record whole = photographic_image(width, height, photograph(xRGB8888, width, height));
    as<QomImage>(whole).timestamp = time_;
    const QomRectangle kept = {3, 4, 30, 20};
    const bool marked = pick(random_, 2) == 0;
    QomCompressedImage *image = marked
                                    ? qom_image_compress_marked(&as<QomImage>(whole), &kept, 1)
                                    : qom_image_compress_lossy(&as<QomImage>(whole), &kept, 1, 50);
    marks.set({0, 0, width, height}, false);
    marks.set(kept, true);
    return list(screen_change(time_, width, height), Record(reinterpret_cast<QomRecord *>(image)));
  }

  Random random_;
  uint64_t time_ = 1000;
};

TEST_F(Lossy, MarksAreThoseOfEveryPixelWhicheverWayTheScreenComes) {
  QomHeader header = sample_header();
  header.version = 2;
  header.width = header.height = side;
  for (unsigned seed = 1; seed < 9; ++seed) {
    MarkedSession session(seed);
    std::vector<Grid> states = {session.marks.grid};
    std::vector<double> shares = {0};
    QomWriter *writer = create(header);
    for (int i = 0; i < 60; ++i) {
      bool checkpoint;
      const Grid before = session.marks.grid;
      const double share = session.marks.share();
      const std::vector<Record> records = session.next(&checkpoint);
      if (checkpoint) {
        states.push_back(before);  // between its records the size is the one that was
        shares.push_back(share);
        EXPECT_EQ(qom_writer_begin_checkpoint(writer), 0);
      }
      append(writer, records);
      states.push_back(session.marks.grid);
      shares.push_back(session.marks.share());
      EXPECT_TRUE(!checkpoint || qom_writer_end_checkpoint(writer) == 0) << qom_reader_error();
    }
    close(writer);

    const Reader reader = open();
    QomScreenOptions options = {};
    options.spacing = 1000;
    const Screen screen(qom_screen_open(reader.get(), &options));
    Random random(seed);
    for (int move = 0; move < 200; ++move) {
      const size_t place =
          move < int(states.size()) ? size_t(move) : pick(random, unsigned(states.size()));
      ASSERT_EQ(qom_screen_go(screen.get(), place), QOM_SCREEN_REACHED) << qom_reader_error();
      ASSERT_EQ(marks_of(screen.get()), states[place]) << seed << ", place " << place;
    }

    double area = 0;
    uint64_t time = 0;
    const QomIndexEntry *entries = qom_reader_index(reader.get());
    for (size_t i = 1; i + 1 < states.size(); ++i) {
      const uint64_t passed = entries[i].timestamp - entries[i - 1].timestamp;
      area += static_cast<double>(passed) * shares[i];
      time += shares[i] > 0 ? passed : 0;
    }
    QomLossyShare share;
    ASSERT_EQ(qom_screen_lossy_share(reader.get(), nullptr, nullptr, &share), 0);
    EXPECT_EQ(share.time, time);
    EXPECT_NEAR(share.area, area / static_cast<double>(share.whole), 1e-9);
  }
}

}  // namespace
