// What is appended is what is read back, and what cannot be is refused.
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <regex>
#include <set>
#include <sstream>

#include "fixture.h"
#include "pixels/packing.h"
#include "pixels/unpacking.h"

namespace {

class RoundTrip : public RecordingTest {};

TEST_F(RoundTrip, EveryRecordOfEveryFormatAndPaddingComesBackAsItWas) {
  std::set<uint8_t> codecs;
  for (int format = PALETTE8; format <= BGRA8888; ++format)
    for (const int pad : {0, 8, 16, 32}) {
      QomHeader header = sample_header(static_cast<PixelFormat>(format), static_cast<uint8_t>(pad));
      header.version = pad == 16 ? 1 : 2;
      auto written = every_record(header);
      const uint64_t time = written.back()->timestamp;
      const Record smooth = image(header, time, 256, 100);
      auto &picture = as<QomImage>(smooth);
      for (uint32_t i = 0; i < picture.length; ++i)
        picture.data[i] = static_cast<uint8_t>(i / 4 * (i % 4 + 1) + i * i % 3);
      for (const Record &plain :
           list(image(header, time, 60, 40), image_blocks(header, time), keep(picture))) {
        written.push_back(compressed(plain));
        EXPECT_EQ(describe(uncompressed(written.back()).get()), describe(plain.get()));
        codecs.insert(plain->type == QOM_IMAGE
                          ? as<QomCompressedImage>(written.back()).data[0]
                          : as<QomCompressedImageBlocks>(written.back()).data[0]);
      }
      write(header, written);
      EXPECT_EQ(records(), describe_all(written)) << format << " " << pad;
    }
  Bytes plain(16);
  plain[4] = plain[6] = 2, plain.resize(24);
  const QomImageBlocks few = {QOM_IMAGE_BLOCKS, 0, 24, plain.data()};
  codecs.insert(as<QomCompressedImageBlocks>(compressed(keep(few))).data[0]);
  EXPECT_EQ(codecs, (std::set<uint8_t>{qom::codec_zstd, qom::codec_zstd_packed,
                                       qom::codec_zstd_strips, qom::codec_zstd_bands}));
}

// Each record is followed by its compressed form.
void expect_pairs(const Texts &pixels) {
  for (size_t i = 0; i + 1 < pixels.size(); i += 2) EXPECT_TRUE(pixels[i] == pixels[i + 1]) << i;
}

// What packed pixels mean must never change: each record is followed by its compressed form, as the
// first version made it. The four have every codec of 32-bit pixels and every way to pack of that
// time.
TEST_F(RoundTrip, PixelsThatWereCompressedLongAgoComeBack) {
  path = QOM_KEPT_RECORDING;
  const Reader reader = open();
  ASSERT_EQ(qom_reader_index_length(reader.get()), 8u);
  for (size_t i = 0; i < 8; i += 2) {
    const Record plain(qom_record_at_index(reader.get(), i));
    const Record packed(qom_record_at_index(reader.get(), i + 1));
    EXPECT_EQ(describe(uncompressed(packed).get()), describe(plain.get())) << i;
  }
  const Texts pixels = independent_pixels();
  EXPECT_EQ(pixels.size(), 8u);
  expect_pairs(pixels);
  QomActivity activity;  // a recording without an overview has it, too
  ASSERT_EQ(qom_reader_activity(reader.get(), &activity), 0);
  EXPECT_EQ(activity.steps[0].bytes > 0, activity.steps[0].area == 0) << "areas came later";
}

// Soft and hard edges, colours that follow each other and pure ones, fourth bytes of any kind;
// cells and strips that are cut off on each side.
Bytes colourful(std::mt19937 &random, uint16_t width, uint16_t height) {
  Bytes data;
  for (const uint16_t number : {uint16_t{0}, uint16_t{0}, width, height})
    forge::append(&data, number);
  const uint32_t noise = 1u << (random() & 7);
  const bool pure = random() % 2 == 0;
  const uint32_t top = random() % 3 == 0 ? 0xFFFFFFFF : 0x00FFFFFF;
  for (uint32_t y = 0; y < height; ++y)
    for (uint32_t x = 0; x < width; ++x) {
      const uint32_t shade =
          x * 3 + y + (x * y / 97 % 5 == 0 ? static_cast<uint32_t>(random()) % noise : 0);
      const uint32_t grey = (shade & 255) * 0x010101;
      forge::append(&data, ((pure ? shade & 255 : grey + static_cast<uint32_t>(random()) % 3) ^
                            static_cast<uint32_t>(random()) << 31) &
                               top);
    }
  return data;
}

// Lines of letters in some hundred shades, with plain rows between them and a rule, over most of
// the picture.
void write_text(std::mt19937 &random, uint32_t *pixels, uint32_t width, uint32_t height) {
  uint32_t letters[8][8][12];
  for (auto &letter : letters)
    for (auto &row : letter)
      for (uint32_t &pixel : row)
        pixel = random() % 2 ? 0xFFFFFF : static_cast<uint32_t>(random() & 0xFFF) * 0x10203;
  for (uint32_t y = 0; y < height - 30; ++y)
    for (uint32_t x = 0, letter = 0; x < width; ++x) {
      if (x % 8 == 0) letter = (y / 17 * 31 + x / 8) * 7 % 11 % 8;
      const bool is_rule = x == 70 && y > 40;
      pixels[y * width + x] = is_rule ? 0 : y % 17 < 12 ? letters[letter][x % 8][y % 17] : 0xFFFFFF;
    }
}

TEST_F(RoundTrip, ManyColoursComeBackAndAreWhatTheDocumentSays) {
  std::mt19937 random{7};
  std::set<uint8_t> codecs;
  std::vector<Record> written;
  for (int round = 0; round < 60; ++round) {
    Bytes data;
    for (size_t i = 0, count = 1 + random() % 3; i < count; ++i)
      data = data + colourful(random, static_cast<uint16_t>(1 + random() % 150),
                              static_cast<uint16_t>(1 + random() % 20));
    const auto length = static_cast<uint32_t>(data.size());
    written.push_back(keep(QomImageBlocks{QOM_IMAGE_BLOCKS, 1000, length, data.data()}));
    written.push_back(compressed(written.back()));
    const Record in_parts = uncompressed_in_parts(written.back(), random() % 9000);
    ASSERT_TRUE(describe(in_parts.get()) == describe(written.end()[-2].get())) << round;
  }
  for (const bool text : {false, true})
    for (const uint16_t width : {uint16_t{3}, uint16_t{64}, uint16_t{200}}) {
      Record plain = image(sample_header(), 1000, width, 170);
      const Bytes picture = colourful(random, width, 170);
      auto *pixels = reinterpret_cast<uint32_t *>(as<QomImage>(plain).data);
      std::memcpy(pixels, picture.data() + 8, picture.size() - 8);
      if (text) write_text(random, pixels, width, 170);
      written.push_back(std::move(plain));
      written.push_back(compressed(written.back()));
      codecs.insert(as<QomCompressedImage>(written.back()).data[0]);
      const Record in_parts = uncompressed_in_parts(written.back(), random() % 9000);
      EXPECT_TRUE(describe(in_parts.get()) == describe(written.end()[-2].get())) << width;
    }
  EXPECT_EQ(codecs, (std::set<uint8_t>{qom::codec_zstd_strips, qom::codec_zstd_bands}));
  write(sample_header(), written);
  const Texts pixels = independent_pixels();
  EXPECT_EQ(pixels.size(), written.size());
  expect_pairs(pixels);
}

// Blocks of few colours, of many, and noise; each alone, and all together.
TEST_F(RoundTrip, PackedBlocksComeBackWhateverTheirColours) {
  std::mt19937 random{11};
  for (int round = 0; round < 200; ++round) {
    Bytes data;
    for (size_t i = 0, count = 1 + random() % 40; i < count; ++i) {
      const uint32_t kinds[] = {1, 2, 15, 16, 17, 40, 255, 256, 257, UINT32_MAX};
      const uint32_t colours = kinds[random() % std::size(kinds)];
      const auto width = static_cast<uint16_t>(1 + random() % 70);
      const auto height = static_cast<uint16_t>(1 + random() % 50);
      forge::append(&data, uint32_t{0});
      forge::append(&data, width);
      forge::append(&data, height);
      for (int left = width * height; left > 0; --left)
        forge::append(&data, static_cast<uint32_t>(random()) % colours * 0x10203);
    }
    const auto length = static_cast<uint32_t>(data.size());
    const Record plain = keep(QomImageBlocks{QOM_IMAGE_BLOCKS, 0, length, data.data()});
    const Record packed = compressed(plain);
    ASSERT_TRUE(describe(uncompressed(packed).get()) == describe(plain.get())) << round;
    const size_t part = random() % 5000;
    ASSERT_TRUE(describe(uncompressed_in_parts(packed, part).get()) == describe(plain.get()))
        << round;
    auto &blocks = as<QomCompressedImageBlocks>(packed);
    --blocks.compressed_length;
    ASSERT_FALSE(uncompressed(packed)) << "cut off";
  }
}

TEST_F(RoundTrip, PackedBytesThatDoNotFitAreRefused) {
  // As many tiles and as many pixels, but of an image of another shape.
  const Record tiles = compressed(image(sample_header(), 0, 160, 64));
  as<QomCompressedImage>(tiles).width = 80;
  as<QomCompressedImage>(tiles).height = 128;
  EXPECT_FALSE(uncompressed(tiles));
  // No residuals, and a group of one block: 500 pixels wide and none high, or one pixel.
  const auto unpacks = [](Bytes packed, Bytes &room) {
    qom::Unpacking unpacking(qom::PackedForm::kinds, packed.data(), packed.size(),
                             {room.data(), room.size()});
    return unpacking.go_on(SIZE_MAX) == qom::Progress::done;
  };
  for (const auto &[side, length] :
       {std::pair<Bytes, size_t>{{0xF4, 1, 0, 0}, 8}, {{1, 0, 1, 0}, 12}}) {
    Bytes room(length);
    EXPECT_FALSE(unpacks(Bytes(12) + Bytes{3, 0, 1, 0, 0, 0, 0, 0} + side, room));
  }
  // Two groups of a pixel each, whose colour the second one's palette lacks: it is zero.
  const Bytes pixel = {0, 0, 0, 0, 1, 0, 1, 0};
  Bytes room(24, 9);
  EXPECT_TRUE(unpacks(Bytes(12) + Bytes{1, 1, 1, 0} + pixel + Bytes(8, 7) + Bytes{1, 1, 0, 1, 0} +
                          pixel + Bytes(4, 7) + Bytes{1},
                      room));
  EXPECT_EQ(forge::get<uint32_t>(room, 20), 0u);
}

TEST_F(RoundTrip, TheLargestValuesComeBack) {
  constexpr uint16_t side = QOM_MAX_CURSOR_SIDE;
  QomHeader header = sample_header(PALETTE8, 8);
  std::string text(QOM_MAX_TEXT, 't');
  Bytes pixels(4 * side * side, 0xAB);
  header.timestamp = QOM_MAX_TIME;
  header.width = header.height = QOM_MAX_SIDE;
  header.palette = reinterpret_cast<RgbValue *>(pixels.data());
  header.palette_size = UINT16_MAX;
  header.user = text.data();
  header.version = 1;
  const auto written = list(image(header, QOM_MAX_TIME, QOM_MAX_SIDE, 1),
                            compressed(image(header, QOM_MAX_TIME, 1, QOM_MAX_SIDE)),
                            keep(QomCursorImage{QOM_CURSOR_IMAGE, QOM_MAX_TIME, side, side, 1, 1,
                                                side, side, 1, 4 * side * side, pixels.data()}),
                            text_record(QOM_FOOTER_ITEM_SID, QOM_MAX_TIME, text.c_str()),
                            keep(QomImageBlocks{QOM_IMAGE_BLOCKS, QOM_MAX_TIME, 0, nullptr}));
  write(header, written);
  EXPECT_EQ(records(), describe_all(written));
  EXPECT_EQ(describe(qom_info_header(open().get())), describe(&header));
}

TEST_F(RoundTrip, ACopyOwnsEverything) {
  for (Record &record : every_record(sample_header())) {
    const std::string before = describe(record.get());
    const Record copy(qom_record_dup(record.get()));
    record.reset();
    EXPECT_EQ(describe(copy.get()), before);
  }
}

TEST_F(RoundTrip, ADumpShowsNoControlCharactersOfTheFile) {
  testing::internal::CaptureStdout();
  qom_record_dump(text_record(QOM_FOOTER_ITEM_APP, 1500001, "\x1B]0;\a\"\\\xC3\xA9|\xFF").get());
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "1.500001 QOM_FOOTER_ITEM_APP\n    item \"\\x1b]0;\\x07\\\"\\\\\xC3\xA9|\\xff\"\n");
}

// --- docs/format.md ---------------------------------------------------------------------------

class Document : public RecordingTest {};

// The bytes of the example: lines of an offset, bytes in hexadecimal, and a remark.
Bytes example() {
  std::ifstream in(QOM_FORMAT_DOCUMENT);
  const std::regex layout("[0-9a-fA-F]{4}  (([0-9a-fA-F]{2} ?)+).*");
  Bytes bytes;
  std::smatch parts;
  for (std::string line; std::getline(in, line);)
    if (std::regex_match(line, parts, layout)) {
      EXPECT_EQ(std::stoul(line, nullptr, 16), bytes.size()) << line;
      std::istringstream numbers(parts[1]);
      for (unsigned byte; numbers >> std::hex >> byte;) bytes.push_back(static_cast<uint8_t>(byte));
    }
  return bytes;
}

TEST_F(Document, TheExampleIsWhatTheLibraryWritesAndReads) {
  QomHeader header = sample_header(RGB565, 0);
  header.version = 1;
  header.timestamp = 1000000;
  header.width = 2;
  header.height = 1;
  char user[] = "ada";
  header.user = user;
  uint8_t pixels[] = {0x00, 0xF8, 0x1F, 0x00};
  const auto written = list(keep(QomImage{QOM_IMAGE, 1000000, 2, 1, 0, 0, RGB565, 0, 4, 4, pixels}),
                            text_record(QOM_FOOTER_ITEM_HOST, 1000001, "desk"));
  write(header, written);
  EXPECT_EQ(contents(), example());
  EXPECT_EQ(records(), describe_all(written));
}

// --- refusals --------------------------------------------------------------------------------

class Refusal : public RecordingTest {
 protected:
  // Makes one thing after another wrong with the record and has the writer refuse each. What it
  // writes in the end is the good record alone.
  template <typename T>
  void refuse(const QomHeader &header, const Record &good,
              std::initializer_list<void (*)(T &)> changes) {
    QomWriter *writer = create(header);
    append(writer, list(position(2000)));
    size_t number = 0;
    for (const auto &change : changes) {
      T bad = as<T>(good);
      change(bad);
      errno = 0;
      EXPECT_EQ(qom_writer_append(writer, &bad), -1) << number;
      EXPECT_EQ(errno, EINVAL) << number++;
    }
    append(writer, list(keep(as<T>(good))));
    close(writer);
    EXPECT_EQ(records().size(), 2u);
    EXPECT_EQ(records().back(), describe(good.get()));
  }
};

// Which sizes are allowed is the reader's rule too: threats_test.cpp has them all.
TEST_F(Refusal, RecordsThatDisagreeWithThemselvesOrTheRecording) {
  const QomHeader header = sample_header(RGB565, 32);
  static uint8_t no_codec[] = {9, 9, 9};
  refuse<QomImage>(header, image(header, 2000, 3, 2),
                   {[](auto &i) { i.length += 1; }, [](auto &i) { i.bytes_per_line = 6; },
                    [](auto &i) { i.pixel_format = BGR565; }, [](auto &i) { i.data = nullptr; }});
  refuse<QomCompressedImage>(
      header, compressed(image(header, 2000, 3, 2)),
      {[](auto &i) { i.length -= 2; }, [](auto &i) { i.compressed_length = 1; },
       [](auto &i) { i.compressed_length = UINT32_MAX; }, [](auto &i) { i.data = no_codec; }});
  refuse<QomImageBlocks>(header, image_blocks(header, 2000), {[](auto &b) { b.length -= 1; }});
  refuse<QomCompressedImageBlocks>(header, compressed(image_blocks(header, 2000)),
                                   {[](auto &b) { b.length = QOM_MAX_DATA + 1; }});
  Bytes pixels(4 * 4 * 4);
  refuse<QomCursorImage>(
      header, keep(QomCursorImage{QOM_CURSOR_IMAGE, 2000, 4, 4, 0, 0, 0, 0, 0, 64, pixels.data()}),
      {[](auto &c) { c.height = 1025; }, [](auto &c) { c.length = 60; },
       [](auto &c) { c.xhot = 5; }, [](auto &c) { c.data = nullptr; }});
  static QomCopy copies[] = {{0, 0, 5, 0, 0, 0}, {0, 0, 1, 16385, 0, 0}};
  static std::vector<QomCopy> many(QOM_MAX_COPIES + 1, {0, 0, 1, 1, 0, 0});
  static std::vector<QomCopy> large(3, {0, 0, 16384, 4096, 0, 0});
  QomCopy good = {1, 2, 3, 4, 5, 6};
  refuse<QomCopyArea>(header, keep(QomCopyArea{QOM_COPY_AREA, 2000, 1, &good}),
                      {[](auto &c) { c.count = 0; }, [](auto &c) { c.copies = nullptr; },
                       [](auto &c) { c.copies = copies; }, [](auto &c) { c.copies = copies + 1; },
                       [](auto &c) {
                         c = {QOM_COPY_AREA, 2000, QOM_MAX_COPIES + 1, many.data()};
                       },
                       [](auto &c) {
                         c = {QOM_COPY_AREA, 2000, 3, large.data()};
                       }});
  static std::string text(QOM_MAX_TEXT + 1, 't');
  refuse<QomLastInput>(header, keep(QomLastInput{QOM_LAST_INPUT, 2000, nullptr, nullptr}),
                       {[](auto &i) { i.user = text.data(); }, [](auto &i) { i.tfn = text.data(); },
                        [](auto &i) { i.type = 18; }, [](auto &i) { i.type = QOM_TYPE_UNKNOWN; },
                        [](auto &i) { i.type = 226; }, [](auto &i) { i.timestamp = 1999; },
                        [](auto &i) { i.timestamp = QOM_MAX_TIME + 1; }});
}

// Libraries of the time before would show wrong pictures.
TEST_F(Refusal, CopiesInARecordingThatDoesNotSayThatItHasThem) {
  QomHeader header = sample_header();
  header.version = 1;
  QomCopy copy = {0, 0, 1, 1, 1, 1};
  const QomCopyArea copied = {QOM_COPY_AREA, 1000, 1, &copy};
  QomWriter *writer = create(header);
  EXPECT_EQ(qom_writer_append(writer, &copied), -1);
  EXPECT_EQ(errno, EINVAL);
  close(writer);
  EXPECT_EQ(contents()[8], 1);
  write(sample_header(), {});
  EXPECT_EQ(contents()[8], 2);
}

TEST_F(Refusal, FilesThatCannotBeBegun) {
  for (void (*const change)(QomHeader &) :
       {+[](QomHeader &h) { h.width = 0; }, +[](QomHeader &h) { h.palette_size = 1; },
        +[](QomHeader &h) { h.timestamp = QOM_MAX_TIME + 1; }}) {
    QomHeader bad = sample_header();
    change(bad);
    EXPECT_FALSE(qom_writer_create(path.c_str(), &bad));
    EXPECT_EQ(errno, EINVAL);
    EXPECT_FALSE(std::filesystem::exists(path));
  }
  put({'k', 'e', 'p', 't'});
  const QomHeader header = sample_header();
  EXPECT_FALSE(qom_writer_create(path.c_str(), &header));
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(contents(), (Bytes{'k', 'e', 'p', 't'}));
}

}  // namespace
