// Recordings of somebody who means harm: every checksum is right, everything else is a lie.
#include <zstd.h>

#include <cerrno>
#include <fstream>

#include "checksum.h"
#include "fixture.h"

namespace {

using forge::Recording;
using qom::IndexSource;

Bytes operator+(Bytes a, const Bytes &b) {
  forge::append(&a, b);
  return a;
}

template <typename... Numbers>
Bytes bytes_of(Numbers... numbers) {
  Bytes bytes;
  (forge::append(&bytes, numbers), ...);
  return bytes;
}

Bytes zstd_frame(const Bytes &raw) {
  Bytes packed(ZSTD_compressBound(raw.size()));
  packed.resize(ZSTD_compress(packed.data(), packed.size(), raw.data(), raw.size(), 3));
  return packed;
}

// Bytes that this process has read from files so far.
size_t bytes_read() {
  std::ifstream in("/proc/self/io");
  std::string name;
  size_t bytes = 0;
  in >> name >> bytes;
  EXPECT_EQ(name, "rchar:");
  return bytes;
}

class Threat : public RecordingTest {
 protected:
  struct Lie {
    const char *what;
    uint8_t type;
    Bytes payload;
    uint32_t raw_length;
    uint8_t codec = qom::codec_stored;
  };

  // Puts each lie between two good records. Nothing but the good ones may come back, with and
  // without an index.
  void expect_refused(const std::vector<Lie> &lies, const Bytes &header = forge::header_payload()) {
    for (const Lie &lie : lies)
      for (const bool finish : {false, true}) {
        Recording recording(header);
        recording.add(QOM_DEBUG);
        recording.add(lie.type, lie.payload, 0, lie.raw_length, lie.codec);
        recording.add(QOM_DONE);
        if (finish) recording.finish();
        put(recording.bytes);
        std::vector<std::string> good;
        for (const std::string &record : records())
          if (record.rfind("error: ", 0) != 0) good.push_back(record);
        EXPECT_EQ(good, (std::vector<std::string>{"QOM_DEBUG at 1000", "QOM_DONE at 1002"}))
            << lie.what;
        EXPECT_EQ(scan()[1], QOM_SCAN_RECORD) << lie.what;
      }
  }

  // The same file must still give these records, whatever its index says.
  void expect_walked_around(const Recording &recording, size_t count, const char *what) {
    put(recording.bytes);
    const bool closed = recording.bytes[recording.bytes.size() - 60] == qom::frame_end_mark;
    EXPECT_EQ(records().size(), count) << what;
    EXPECT_EQ(info().state, closed ? QOM_STATE_DAMAGED : QOM_STATE_UNFINISHED) << what;
    EXPECT_EQ(index_from(path, IndexSource::end_mark), index_from(path, IndexSource::walk)) << what;
  }
};

TEST_F(Threat, ImagesWhoseGeometryLies) {
  const Bytes four(4);
  expect_refused(
      {{"sides whose product wraps", QOM_IMAGE, forge::geometry(32768, 32768), 0},
       {"a side that is too long", QOM_IMAGE, forge::geometry(16385, 1) + Bytes(65540), 65540},
       {"no columns", QOM_IMAGE, forge::geometry(0, 1), 0},
       {"no rows", QOM_IMAGE, forge::geometry(1, 0), 0},
       {"a row is missing", QOM_IMAGE, forge::geometry(1, 2) + four, 4},
       {"a byte too many", QOM_IMAGE, forge::geometry(1, 1) + Bytes(5), 5},
       {"less stored than stated", QOM_IMAGE, forge::geometry(1, 2) + four, 8},
       {"half a geometry", QOM_IMAGE, Bytes(6), 0},
       {"an unknown format", QOM_IMAGE, forge::geometry(1, 1, static_cast<PixelFormat>(14)) + four,
        4},
       {"not the header's format", QOM_IMAGE, forge::geometry(1, 1, ARGB8888) + four, 4},
       {"not the header's padding", QOM_IMAGE, forge::geometry(1, 1, xRGB8888, 8) + four, 4},
       {"a codec for stored pixels", QOM_IMAGE, forge::geometry(1, 1) + four, 4, qom::codec_zstd},
       {"no columns, compressed", QOM_COMPRESSED_IMAGE, forge::geometry(0, 1) + Bytes(9), 0,
        qom::codec_zstd},
       {"a length that is not the geometry's", QOM_COMPRESSED_IMAGE,
        forge::geometry(2, 2) + zstd_frame(Bytes(20)), 20, qom::codec_zstd},
       {"another format, compressed", QOM_COMPRESSED_IMAGE,
        forge::geometry(1, 1, BGRA8888) + zstd_frame(four), 4, qom::codec_zstd},
       {"an unknown codec", QOM_COMPRESSED_IMAGE, forge::geometry(1, 1) + zstd_frame(four), 4, 4},
       {"no codec", QOM_COMPRESSED_IMAGE, forge::geometry(1, 1) + zstd_frame(four), 4}});
}

TEST_F(Threat, ImagesAboveTheLimitOfTheWhole) {
  // 16384x4097 of 32 bits are more than 256 MiB although each side is allowed.
  expect_refused(
      {{"too many bytes", QOM_COMPRESSED_IMAGE, forge::geometry(16384, 4097) + zstd_frame(Bytes(4)),
        16384u * 4097 * 4, qom::codec_zstd},
       {"too many bytes of blocks", QOM_COMPRESSED_IMAGE_BLOCKS, zstd_frame(Bytes(4)),
        QOM_MAX_DATA + 1, qom::codec_zstd}});
}

TEST_F(Threat, CursorsTextsAndFixedRecordsWhoseLengthsLie) {
  const auto cursor = [](uint16_t width, uint16_t height, uint16_t xhot, uint16_t yhot,
                         size_t data) {
    return bytes_of(width, height, uint32_t{0}, xhot, yhot, uint32_t{1}) + Bytes(data);
  };
  expect_refused(
      {{"a cursor without columns", QOM_CURSOR_IMAGE, cursor(0, 1, 0, 0, 0), 0},
       {"a cursor that is too wide", QOM_CURSOR_IMAGE, cursor(1025, 1, 0, 0, 4100), 4100},
       {"a cursor that is too high", QOM_CURSOR_IMAGE, cursor(1, 1025, 0, 0, 4100), 4100},
       {"a cursor with too few pixels", QOM_CURSOR_IMAGE, cursor(2, 2, 0, 0, 12), 12},
       {"a hot spot to the right", QOM_CURSOR_IMAGE, cursor(1, 1, 2, 0, 4), 4},
       {"a hot spot below", QOM_CURSOR_IMAGE, cursor(1, 1, 0, 2, 4), 4},
       {"half a position", QOM_CURSOR_POSITION, Bytes(3), 0},
       {"a position and more", QOM_CURSOR_POSITION, Bytes(5), 0},
       {"half a size", QOM_SCREEN_CHANGE, Bytes(2), 0},
       {"a payload where there is none", QOM_DEBUG, Bytes(1), 0},
       {"pixels where there are none", QOM_DEBUG, {}, 1},
       {"no text", QOM_FOOTER_ITEM_APP, {}, 0},
       {"half a length", QOM_FOOTER_ITEM_APP, Bytes(3), 0},
       {"a text longer than the record", QOM_FOOTER_ITEM_APP, bytes_of(uint32_t{3}) + Bytes{1, 2},
        0},
       {"a length that wraps", QOM_FOOTER_ITEM_IP, bytes_of(uint32_t{0xFFFFFFFE}), 0},
       {"a text that is too long", QOM_FOOTER_ITEM_TID,
        bytes_of(uint32_t{QOM_MAX_TEXT + 1}) + Bytes(QOM_MAX_TEXT + 1, 'x'), 0},
       {"a zero within", QOM_FOOTER_ITEM_SID, bytes_of(uint32_t{2}) + Bytes{0, 1}, 0},
       {"bytes behind the text", QOM_FOOTER_ITEM_APP, forge::text("x") + Bytes(1), 0},
       {"the second text is missing", QOM_LAST_INPUT, forge::text("x"), 0},
       {"a palette that is not there", QOM_HEADER,
        [] {
          Bytes payload = forge::header_payload();
          payload.resize(28);
          payload[14] = 200;
          return payload;
        }(),
        0}});
}

TEST_F(Threat, TimesNearTheEndOfTime) {
  Recording recording;
  recording.add(QOM_DEBUG, {}, UINT64_MAX);
  recording.add(QOM_DEBUG, {}, QOM_MAX_TIME + 1);
  recording.add(QOM_DEBUG, {}, QOM_MAX_TIME);
  put(recording.bytes);
  EXPECT_EQ(records(), (std::vector<std::string>{"QOM_DEBUG at 4611686018427387904"}));
  recording.finish();
  put(recording.bytes);
  EXPECT_EQ(records(), (std::vector<std::string>{"QOM_DEBUG at 4611686018427387904"}));
}

// --- compressed bytes ------------------------------------------------------------------------

class Bomb : public testing::Test {
 protected:
  // Whether a 32-bit image of this size is made of these compressed bytes.
  static bool uncompresses(uint16_t width, uint16_t height, Bytes stored, uint8_t codec = 1) {
    stored.insert(stored.begin(), codec);
    QomCompressedImage image = {};
    image.type = QOM_COMPRESSED_IMAGE;
    image.width = width;
    image.height = height;
    image.pixel_format = xRGB8888;
    image.length = uint32_t{width} * height * 4;
    image.compressed_length = static_cast<uint32_t>(stored.size());
    image.data = stored.data();
    const qom::RecordPtr<QomImage> result(qom_image_uncompress(&image));
    QomCompressedImageBlocks blocks = {QOM_COMPRESSED_IMAGE_BLOCKS, 0, image.length,
                                       image.compressed_length, stored.data()};
    const qom::RecordPtr<QomImageBlocks> other(qom_image_blocks_uncompress(&blocks));
    if (codec != qom::codec_zstd_left) {
      EXPECT_EQ(!result, !other);
    }
    return result != nullptr;
  }
};

TEST_F(Bomb, OnlyOneWholeFrameOfTheRightSizeIsDecompressed) {
  const Bytes good = zstd_frame(Bytes(64, 7));
  EXPECT_TRUE(uncompresses(4, 4, good));
  EXPECT_TRUE(uncompresses(4, 4, good, 2));
  EXPECT_FALSE(uncompresses(4, 4, good, 0));
  EXPECT_FALSE(uncompresses(4, 4, good, 3));
  EXPECT_FALSE(uncompresses(4, 3, good)) << "gives more than the geometry needs";
  EXPECT_FALSE(uncompresses(4, 5, good)) << "gives less";
  EXPECT_FALSE(uncompresses(4, 4, good + Bytes(1))) << "bytes behind it";
  EXPECT_FALSE(uncompresses(4, 4, good + good)) << "another frame behind it";
  EXPECT_FALSE(uncompresses(4, 8, good + good)) << "two halves";
  EXPECT_FALSE(uncompresses(4, 4, Bytes(good.begin(), good.end() - 1))) << "cut off";
  EXPECT_FALSE(uncompresses(4, 4, {})) << "nothing";
  EXPECT_FALSE(uncompresses(4, 4, Bytes(20, 0x5A))) << "no frame";
}

TEST_F(Bomb, ALengthThatIsNotTheGeometrysIsRefused) {
  Bytes stored = Bytes{1} + zstd_frame(Bytes(64));
  QomCompressedImage image = {
      QOM_COMPRESSED_IMAGE, 0, 4, 4, 0, 0, xRGB8888, 0, 60, static_cast<uint32_t>(stored.size()),
      stored.data()};
  EXPECT_FALSE(qom_image_uncompress(&image));
  image.length = 64;
  image.pixel_format = RGB565;
  EXPECT_FALSE(qom_image_uncompress(&image));
  image.pixel_format = xRGB8888;
  EXPECT_TRUE(qom::RecordPtr<QomImage>(qom_image_uncompress(&image)));
}

TEST_F(Bomb, AFrameThatDoesNotStateItsSizeIsRefused) {
  ZSTD_CCtx *context = ZSTD_createCCtx();
  ZSTD_CCtx_setParameter(context, ZSTD_c_contentSizeFlag, 0);
  const Bytes raw(64, 7);
  Bytes packed(ZSTD_compressBound(raw.size()));
  packed.resize(ZSTD_compress2(context, packed.data(), packed.size(), raw.data(), raw.size()));
  ZSTD_freeCCtx(context);
  EXPECT_FALSE(uncompresses(4, 4, packed));
}

// --- blocks ----------------------------------------------------------------------------------

TEST(Blocks, AWalkStaysInsideAndEnds) {
  const QomHeader header = sample_header(xRGB8888, 32);
  const Bytes pixel = bytes_of(uint32_t{0}, uint16_t{1}, uint16_t{1}, uint32_t{0xFFFFFF});
  const Bytes bad[] = {
      bytes_of(uint32_t{0}, uint16_t{0}, uint16_t{1}, uint32_t{0}),
      bytes_of(uint32_t{0}, uint16_t{1}, uint16_t{0}, uint32_t{0}),
      bytes_of(uint32_t{0}, uint16_t{1}, uint16_t{2}, uint32_t{0}),
      bytes_of(uint32_t{0}, uint16_t{32768}, uint16_t{32768}),
      bytes_of(uint32_t{0}, uint16_t{1}, uint16_t{1}),
      Bytes(7),
  };
  for (const Bytes &tail : bad) {
    // The exact size, so that a sanitizer sees the first byte too many.
    Bytes data = pixel + tail;
    data.shrink_to_fit();
    const QomImageBlocks blocks = {QOM_IMAGE_BLOCKS, 0, static_cast<uint32_t>(data.size()),
                                   data.data()};
    QomImage image;
    size_t offset = 0;
    EXPECT_EQ(qom_image_blocks_next(&blocks, &header, &offset, &image), 1);
    EXPECT_EQ(offset, pixel.size());
    EXPECT_EQ(qom_image_blocks_next(&blocks, &header, &offset, &image), -1);
    EXPECT_EQ(offset, pixel.size());
  }
  const QomImageBlocks blocks = {QOM_IMAGE_BLOCKS, 0, 4, nullptr};
  size_t offset = SIZE_MAX;
  QomImage image;
  EXPECT_EQ(qom_image_blocks_next(&blocks, &header, &offset, &image), 0);
}

// --- the index -------------------------------------------------------------------------------

constexpr size_t record_count = 4;

// A recording of four records that the tests close with lies of their own.
Recording four_records() {
  Recording recording;
  for (size_t i = 0; i < record_count; ++i)
    recording.add(QOM_CURSOR_POSITION, bytes_of(static_cast<uint32_t>(i)));
  return recording;
}

TEST_F(Threat, EntriesThatPointToPlacesWhereNoRecordCanBe) {
  const auto lies = [](const char *what, void (*change)(std::vector<QomIndexEntry> *)) {
    Recording recording = four_records();
    const size_t position = recording.bytes.size();
    auto entries = recording.entries;
    change(&entries);
    recording.add_index(qom::frame_index_part, {}, entries);
    recording.add_end_mark(position, entries.size());
    return std::pair(recording, what);
  };
  using Entries = std::vector<QomIndexEntry> *;
  for (const auto &[recording, what] :
       {lies("before the frames", [](Entries e) { (*e)[0].position = 0; }),
        lies("negative", [](Entries e) { (*e)[0].position = -1; }),
        lies("behind the index", [](Entries e) { (*e)[3].position += 4096; }),
        lies("into the index", [](Entries e) { (*e)[3].position += 36; }),
        lies("the same record twice", [](Entries e) { (*e)[2].position = (*e)[1].position; }),
        lies("into the record before", [](Entries e) { (*e)[2].position -= 1; }),
        lies("longer than the file", [](Entries e) { (*e)[3].length = 0xFFFFFFFF; }),
        lies("longer than the gap", [](Entries e) { (*e)[1].length += 1; }),
        lies("no record type", [](Entries e) { (*e)[1].type = 224; }),
        lies("a time above all", [](Entries e) { (*e)[3].timestamp = QOM_MAX_TIME + 1; })})
    expect_walked_around(recording, record_count, what);
}

// These pass for an index, so that only reading the record can find them out.
TEST_F(Threat, EntriesThatDoNotMatchTheirFrames) {
  index_lies = true;
  const auto changed_entry = [this](void (*change)(QomIndexEntry *)) {
    Recording recording = four_records();
    const size_t position = recording.bytes.size();
    auto entries = recording.entries;
    change(&entries[1]);
    recording.add_index(qom::frame_index_part, {}, entries);
    recording.add_end_mark(position, entries.size());
    put(recording.bytes);
    EXPECT_EQ(info().state, QOM_STATE_FINISHED);
    const auto found = records();
    EXPECT_EQ(found[0], "QOM_CURSOR_POSITION at 1000 0 0");
    EXPECT_EQ(found[3], "QOM_CURSOR_POSITION at 1003 3 0");
    return found[1];
  };
  const std::string reason = "error: record at offset 84: ";
  EXPECT_EQ(changed_entry([](QomIndexEntry *e) { e->type = QOM_SCREEN_CHANGE; }),
            reason + "not the record of the index");
  EXPECT_EQ(changed_entry([](QomIndexEntry *e) { e->timestamp -= 1; }),
            reason + "not the record of the index");
  EXPECT_EQ(changed_entry([](QomIndexEntry *e) { e->length = 3; }),
            reason + "an impossible length");
  EXPECT_EQ(changed_entry([](QomIndexEntry *e) { e->position += 1, e->length -= 1; }),
            "error: record at offset 85: an impossible length");
  EXPECT_EQ(changed_entry([](QomIndexEntry *e) {
              e->type = QOM_FOOTER_ITEM_APP;
              e->length = 0;
            }),
            reason + "not the record of the index");
  EXPECT_EQ(changed_entry([](QomIndexEntry *e) {
              e->type = QOM_DEBUG;
              e->length = 4;
            }),
            reason + "not the record of the index");
  EXPECT_EQ(changed_entry([](QomIndexEntry *e) {
              e->type = QOM_DEBUG;
              e->length = 3;
              e->position += 1;
            }),
            "error: record at offset 85: its head is damaged");
}

TEST_F(Threat, FlagsOfEntriesAreTheReadersOwn) {
  Recording recording = four_records();
  recording.entries[0].flags = 0xFF;
  recording.entries[0].reserved = 0xFFFF;
  recording.finish();
  put(recording.bytes);
  EXPECT_EQ(info().state, QOM_STATE_FINISHED);
  const Reader reader = open();
  EXPECT_EQ(qom_reader_index(reader.get())[0].flags, 0);
  EXPECT_EQ(qom_reader_index(reader.get())[0].reserved, 0);
}

TEST_F(Threat, EndMarksThatLie) {
  const auto mark = [](uint64_t shift, uint64_t records, uint64_t checkpoints) {
    Recording recording = four_records();
    const size_t position = recording.bytes.size();
    recording.add_index(qom::frame_index_part, {}, recording.entries);
    recording.add_end_mark(position + shift, records, checkpoints);
    return recording;
  };
  const uint64_t none = 0;
  expect_walked_around(mark(0, 5, 0), record_count, "one record too many");
  expect_walked_around(mark(0, 3, 0), record_count, "one too few");
  expect_walked_around(mark(0, 4, 1), record_count, "a checkpoint too many");
  expect_walked_around(mark(0, UINT64_MAX, 0), record_count, "as many as there can be");
  expect_walked_around(mark(0, uint64_t{1} << 40, 0), record_count, "more than memory");
  expect_walked_around(mark(1, 4, 0), record_count, "no index there");
  expect_walked_around(mark(none - 36, 4, 0), record_count, "a record there");
  expect_walked_around(mark(none - 10000, 4, 0), record_count, "before the file");
  expect_walked_around(mark(uint64_t{1} << 63, 4, 0), record_count, "far behind the file");

  Recording elsewhere = four_records();
  elsewhere.finish();
  forge::put(&elsewhere.bytes, elsewhere.bytes.size() - 32, uint64_t{48});  // its own position
  forge::repair(&elsewhere.bytes);
  expect_walked_around(elsewhere, record_count, "not where it says");
}

TEST_F(Threat, IndexPartsThatLie) {
  const auto parts = [](auto add) {
    Recording recording = four_records();
    const size_t position = recording.bytes.size();
    add(&recording);
    recording.add_end_mark(position, record_count);
    return recording;
  };
  using qom::frame_index_part;
  expect_walked_around(parts([](Recording *r) {
                         r->add_index(frame_index_part, {0, 0, 0, UINT32_MAX, 0}, r->entries);
                       }),
                       record_count, "more entries than bytes");
  expect_walked_around(parts([](Recording *r) {
                         r->add_index(frame_index_part, {0, 0, 0, 0, UINT32_MAX}, r->entries);
                       }),
                       record_count, "more checkpoints than bytes");
  expect_walked_around(parts([](Recording *r) {
                         r->add_index(frame_index_part, {0, 0, 1, 0, 0}, r->entries);
                       }),
                       record_count, "another first record");
  expect_walked_around(parts([](Recording *r) {
                         r->add_index(frame_index_part, {60, 0, 0, 0, 0}, r->entries);
                       }),
                       record_count, "another position");
  expect_walked_around(
      parts([](Recording *r) { r->add_index(qom::frame_index_block, {}, r->entries); }),
      record_count, "a block in place of a part");
  expect_walked_around(parts([](Recording *r) {
                         r->add_index(frame_index_part, {}, r->entries);
                         r->add_index(frame_index_part, {0, 0, 4, 0, 0}, r->entries);
                       }),
                       record_count, "twice the entries");
}

TEST_F(Threat, ChainsThatLoopOrDoNotJoin) {
  using qom::frame_index_block;
  using Entries = std::vector<QomIndexEntry>;
  // Two blocks of two records each; the second says this of the first and of itself.
  const auto chain = [](uint64_t previous, uint64_t first, size_t entries) {
    Recording r;
    const auto add_two = [&r] {
      r.add(QOM_CURSOR_POSITION, Bytes(4));
      r.add(QOM_CURSOR_POSITION, Bytes(4));
    };
    add_two();
    const size_t block = r.add_index(frame_index_block, {}, r.entries);
    add_two();
    if (previous == 1) previous = block;
    if (previous == 2) previous = r.bytes.size();
    r.add_index(frame_index_block, {0, previous, first, 0, 0},
                Entries(r.entries.begin() + 2, r.entries.begin() + 2 + static_cast<long>(entries)));
    return r;
  };
  const Recording good = chain(1, 2, 2);
  put(good.bytes);
  // Shows that this chain is used where it holds: the walk does not see the damage before it.
  Bytes damaged = good.bytes;
  damaged[48] ^= 1;
  put(damaged);
  EXPECT_EQ(qom_reader_index_length(open().get()), record_count);

  expect_walked_around(good, record_count, "a good chain");
  expect_walked_around(chain(2, 2, 2), record_count, "itself");
  expect_walked_around(chain(UINT64_MAX, 2, 2), record_count, "behind the file");
  expect_walked_around(chain(84, 2, 2), record_count, "a record");
  expect_walked_around(chain(1, 1, 2), record_count, "overlapping numbers");
  expect_walked_around(chain(1, 3, 1), record_count, "numbers with a gap");
  expect_walked_around(chain(0, 2, 2), record_count, "no beginning");
  expect_walked_around(chain(1, UINT64_MAX - 1, 2), record_count, "numbers that wrap");
  expect_walked_around(chain(1, uint64_t{1} << 40, 2), record_count, "more than memory");
  expect_walked_around(chain(1, 2, 0), record_count, "an empty block");

  Recording lies;
  lies.add(QOM_DEBUG);
  auto entries = lies.entries;
  entries[0].length = 77;
  lies.add_index(frame_index_block, {}, entries);
  expect_walked_around(lies, 1, "an entry that reaches into the block");
}

// Every block holds all that follow it in the file as its checkpoints: without a check the
// memory for them grows with the square of the file's size.
TEST_F(Threat, BlocksThatOverlapDoNotMultiply) {
  constexpr size_t count = 3000;
  Recording recording;
  recording.add(QOM_DEBUG);
  for (size_t i = 1; i < count; ++i) recording.add(QOM_DEBUG);
  const size_t first_block = recording.bytes.size();
  // A block with one entry takes 88 bytes; 8 more, to make its checkpoints end where the file
  // does, are filled with zeros.
  constexpr size_t block_bytes = 96;
  recording.bytes.resize(first_block + count * block_bytes);
  const size_t end = recording.bytes.size();
  for (size_t i = count; i-- > 0;) {
    const size_t at = first_block + i * block_bytes;
    const size_t payload = at + qom::frame_head_bytes;
    const auto spans = static_cast<uint32_t>((end - payload - 56) / sizeof(qom::CheckpointSpan));
    forge::put(&recording.bytes, payload,
               qom::IndexHead{at, i > 0 ? at - block_bytes : 0, i, 1, spans});
    forge::put(&recording.bytes, payload + 32, recording.entries[i]);
    qom::FrameHead head;
    head.type = qom::frame_index_block;
    head.stored_length = 56 + spans * 16;
    head.payload_crc = qom::crc32c(recording.bytes.data() + payload, head.stored_length);
    qom::encode_frame_head(head, recording.salt, recording.bytes.data() + at);
  }
  put(recording.bytes);
  const size_t before = bytes_read();
  EXPECT_EQ(qom_reader_index_length(open().get()), count);
  EXPECT_LT(bytes_read() - before, 20 * recording.bytes.size());
}

// Heads of blocks without blocks behind them: the search for a chain must give up.
TEST_F(Threat, HeadsThatLeadNowhereDoNotTakeForever) {
  Recording recording;
  recording.add(QOM_DEBUG);
  Bytes heads;
  qom::FrameHead head;
  head.type = qom::frame_index_block;
  head.stored_length = 7;
  uint8_t bytes[qom::frame_head_bytes];
  qom::encode_frame_head(head, recording.salt, bytes);
  for (int i = 0; i < 100000; ++i) heads.insert(heads.end(), bytes, bytes + sizeof bytes);
  recording.add(200, heads);
  recording.add(QOM_DONE);
  put(recording.bytes);
  const size_t before = bytes_read();
  EXPECT_EQ(qom_reader_index_length(open().get()), 2u);
  EXPECT_LT(bytes_read() - before, 20 * recording.bytes.size());
}

}  // namespace
