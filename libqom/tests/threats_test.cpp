// Recordings of somebody who means harm: every checksum is right, everything else is a lie.
#include <sys/stat.h>
#include <zstd.h>

#include <fstream>

#include "checksum.h"
#include "fixture.h"

namespace {

using forge::Recording;
using qom::IndexSource;

template <typename... Numbers>
Bytes bytes_of(Numbers... numbers) {
  Bytes bytes;
  (forge::append(&bytes, numbers), ...);
  return bytes;
}

Bytes zstd_frame(const Bytes &raw, bool states_its_size = true) {
  ZSTD_CCtx *context = ZSTD_createCCtx();
  ZSTD_CCtx_setParameter(context, ZSTD_c_contentSizeFlag, states_its_size);
  Bytes packed(ZSTD_compressBound(raw.size()));
  packed.resize(ZSTD_compress2(context, packed.data(), packed.size(), raw.data(), raw.size()));
  ZSTD_freeCCtx(context);
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
    uint32_t raw_length = 0;
    uint8_t codec = qom::codec_stored;
  };

  // Puts each lie between two good records. Nothing but the good ones may come back, with and
  // without an index.
  void expect_refused(const std::vector<Lie> &lies) {
    for (const Lie &lie : lies)
      for (const bool finish : {false, true}) {
        Recording recording;
        recording.add(QOM_DEBUG);
        recording.add(lie.type, lie.payload, 0, lie.raw_length, lie.codec);
        recording.add(QOM_DONE);
        if (finish) recording.finish();
        put(recording.bytes);
        Texts good;
        for (const std::string &record : records())
          if (record.rfind("error: ", 0) != 0) good.push_back(record);
        EXPECT_EQ(good, (Texts{"QOM_DEBUG at 1000", "QOM_DONE at 1002"})) << lie.what;
        EXPECT_EQ(scan()[1], QOM_SCAN_RECORD) << lie.what;
      }
  }

  // The same file must still give these records, whatever its index says.
  void expect_walked_around(const char *what, const Recording &recording, size_t count = 4) {
    put(recording.bytes);
    const bool closed = recording.bytes[recording.bytes.size() - 60] == qom::frame_end_mark;
    EXPECT_EQ(records().size(), count) << what;
    EXPECT_EQ(info().state, closed ? QOM_STATE_DAMAGED : QOM_STATE_UNFINISHED) << what;
    EXPECT_EQ(index_from(path, IndexSource::end_mark), index_from(path, IndexSource::walk)) << what;
  }
};

// --- what is opened --------------------------------------------------------------------------

TEST_F(Threat, OnlyRegularFilesAreOpened) {
  EXPECT_EQ(refusal(ENOENT), "cannot open the file: No such file or directory");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(refusal(), "not a regular file");
  path = folder;
  EXPECT_EQ(refusal(EISDIR), "cannot open the file: Is a directory");
  path = "/dev/zero";
  EXPECT_EQ(refusal(), "not a regular file");
}

TEST_F(Threat, FilesThatAreNoRecording) {
  const Bytes good = Recording().bytes;
  Bytes text_mode = good;
  text_mode.erase(text_mode.begin() + 4);  // CR LF became LF
  const auto with = [&good](size_t at, auto value) {
    Bytes bytes = good;
    forge::put(&bytes, at, value);
    return bytes;
  };
  const std::pair<Bytes, const char *> files[] = {
      {{}, "not a recording: too short"},
      {Bytes(500, 'x'), "not a recording: it does not begin like one"},
      {text_mode, "not a recording: it does not begin like one"},
      {with(8, uint8_t{2}), "a recording of format version 2.0; this program reads version 1"},
      {with(12, uint32_t{0xFFFFFFF0}), "a recording whose header is cut off"},
      {with(12, uint32_t{1000}), "a recording whose header is cut off"},
      {Recording(Bytes(qom::max_header_bytes + 1)).bytes, "a recording whose header is cut off"}};
  for (const auto &[bytes, reason] : files) {
    put(bytes);
    EXPECT_EQ(refusal(), reason);
  }
}

// Which values are wrong is told by the lies in one byte below: a header is a record, too.
TEST_F(Threat, HeadersThatBreakARule) {
  Bytes huge = forge::header_payload();
  forge::put(&huge, 16, uint32_t{0x40004000});
  put(Recording(huge).bytes);
  EXPECT_EQ(refusal(), "a screen of 16384x16384 pixels is not allowed");  // 1 GiB
  put(Recording(Bytes(19)).bytes);
  EXPECT_EQ(refusal(), "a header that is cut off");
  // Fields of later versions are no lie.
  put(Recording(forge::header_payload() + Bytes(100, 0xFF), 300).bytes);
  EXPECT_EQ(info().minor_version, 255);
  EXPECT_EQ(qom_info_header(open().get())->width, 64);
}

// --- records ---------------------------------------------------------------------------------

// Every byte of a recording of all types is wrong in turn: what is a lie the second reader, which
// has its rules from the document alone, refuses as well.
TEST_F(Threat, RecordsThatLieInOneByte) {
  write(sample_header(), every_record(sample_header()), false);
  const Bytes good = contents();
  size_t refused = 0;
  for (auto at = static_cast<size_t>(entries()[0].position); at < good.size(); ++at)
    for (const int mask : {1, 4, 0x80, 0xFF}) {
      Bytes bytes = good;
      bytes[at] = static_cast<uint8_t>(bytes[at] ^ mask);
      forge::repair(&bytes);
      put(bytes);
      for (const std::string &record : records()) refused += record.rfind("error: ", 0) == 0;
      ASSERT_FALSE(HasFailure()) << "byte " << at << " ^ " << mask;
    }
  EXPECT_GT(refused, 300u);
}

// What a single byte does not reach: sizes beyond the limits, with as many bytes as they ask for.
TEST_F(Threat, RecordsThatLieThroughout) {
  using forge::geometry;
  const Bytes packed = zstd_frame(Bytes(4));
  constexpr auto zstd = qom::codec_zstd;
  const auto cursor = [](uint16_t width, uint16_t height) {
    return bytes_of(width, height, uint32_t{0}, uint32_t{0}, uint32_t{1}) +
           Bytes(size_t{4} * width * height);
  };
  const Bytes long_text = bytes_of(uint32_t{QOM_MAX_TEXT + 1}) + Bytes(QOM_MAX_TEXT + 1, 'x');
  expect_refused(
      {{"sides whose product wraps", QOM_IMAGE, geometry(32768, 32768)},
       {"a side that is too long", QOM_IMAGE, geometry(16385, 1) + Bytes(65540), 65540},
       {"no columns", QOM_IMAGE, geometry(0, 1)},
       // Each side is allowed, but all the pixels are more than 256 MiB.
       {"an image that is too large", QOM_COMPRESSED_IMAGE, geometry(16384, 4097) + packed,
        16384u * 4097 * 4, zstd},
       {"too many bytes of blocks", QOM_COMPRESSED_IMAGE_BLOCKS, packed, QOM_MAX_DATA + 1, zstd},
       {"a cursor that is too wide", QOM_CURSOR_IMAGE, cursor(1025, 1), 4100},
       {"a text whose length wraps", QOM_FOOTER_ITEM_IP, bytes_of(uint32_t{0xFFFFFFFE})},
       {"a text that is too long", QOM_FOOTER_ITEM_TID, long_text},
       {"the second text is missing", QOM_LAST_INPUT, forge::text("x")}});
}

TEST_F(Threat, TimesNearTheEndOfTime) {
  Recording recording;
  recording.add(QOM_DEBUG, {}, UINT64_MAX);
  recording.add(QOM_DEBUG, {}, QOM_MAX_TIME + 1);
  recording.add(QOM_DEBUG, {}, QOM_MAX_TIME);
  for (const bool finished : {false, true}) {
    if (finished) recording.finish();
    put(recording.bytes);
    EXPECT_EQ(records(), Texts{"QOM_DEBUG at 4611686018427387904"});
  }
}

// --- compressed bytes and blocks -------------------------------------------------------------

TEST(Bomb, OnlyOneWholeFrameOfTheRightSizeIsDecompressed) {
  const Bytes good = zstd_frame(Bytes(64, 7));
  constexpr uint8_t zstd = qom::codec_zstd;
  const struct {
    const char *what;
    uint16_t height;  // of an image that is 4 pixels wide
    Bytes stored;
    uint8_t codec = zstd;
    uint32_t missing = 0;  // of the length that the record states
    bool accepted = false;
  } cases[] = {{"a good one", 4, good, zstd, 0, true},
               {"no codec", 4, good, 0},
               {"an unknown codec", 4, good, 9},
               {"gives more than the geometry needs", 3, good},
               {"bytes behind it", 4, good + Bytes(1)},
               {"two halves", 8, good + good},
               {"cut off", 4, Bytes(good.begin(), good.end() - 1)},
               {"no frame", 4, Bytes(20, 0x5A)},
               {"does not state its size", 4, zstd_frame(Bytes(64, 7), false)},
               {"the record states another length", 4, good, zstd, 4}};
  for (const auto &one : cases) {
    Bytes stored = Bytes{one.codec} + one.stored;
    const uint32_t length = 16u * one.height - one.missing;
    const auto bytes = static_cast<uint32_t>(stored.size());
    const QomCompressedImage image = {
        QOM_COMPRESSED_IMAGE, 0, 4, one.height, 0, 0, xRGB8888, 0, length, bytes, stored.data()};
    const QomCompressedImageBlocks blocks = {QOM_COMPRESSED_IMAGE_BLOCKS, 0, length, bytes,
                                             stored.data()};
    EXPECT_EQ(uncompressed(keep(image)) != nullptr, one.accepted) << one.what;
    EXPECT_EQ(uncompressed(keep(blocks)) != nullptr, one.accepted) << one.what;
  }
}

TEST(Blocks, AWalkStaysInsideAndEnds) {
  const QomHeader header = sample_header(xRGB8888, 32);
  const Bytes pixel = bytes_of(uint32_t{0}, uint16_t{1}, uint16_t{1}, uint32_t{0xFFFFFF});
  const auto block = [](uint16_t width, uint16_t height, size_t data) {
    return bytes_of(uint32_t{0}, width, height) + Bytes(data);
  };
  for (const Bytes &tail : {block(0, 1, 4), block(1, 0, 4), block(1, 2, 4), block(32768, 32768, 0),
                            block(1, 1, 0), Bytes(7)}) {
    // The exact size, so that a sanitizer sees the first byte too many.
    Bytes data = pixel + tail;
    data.shrink_to_fit();
    const QomImageBlocks blocks = {QOM_IMAGE_BLOCKS, 0, static_cast<uint32_t>(data.size()),
                                   data.data()};
    QomImage image;
    size_t offset = 0;
    EXPECT_EQ(qom_image_blocks_next(&blocks, &header, &offset, &image), 1);
    EXPECT_EQ(qom_image_blocks_next(&blocks, &header, &offset, &image), -1);
    EXPECT_EQ(offset, pixel.size());
    offset = SIZE_MAX;
    EXPECT_EQ(qom_image_blocks_next(&blocks, &header, &offset, &image), 0);
  }
}

// --- the index -------------------------------------------------------------------------------

// A recording of four records that is closed with `add` and an end mark.
template <typename Add>
Recording four_records(Add add) {
  Recording recording;
  for (uint32_t i = 0; i < 4; ++i) recording.add(QOM_CURSOR_POSITION, bytes_of(i));
  const size_t position = recording.bytes.size();
  add(&recording);
  recording.add_end_mark(position, 4);
  return recording;
}

// Every byte of an index and its end mark is wrong in turn. Some of these pass for an index, so
// that only reading the record can find them out: it comes back as it is or not at all.
TEST_F(Threat, IndexesThatLieInOneByte) {
  index_lies = true;
  const Recording good =
      four_records([](Recording *r) { r->add_index(qom::frame_index_part, {}, r->entries); });
  size_t believed = 0;
  for (auto at = static_cast<size_t>(good.entries[3].position) + 36; at < good.bytes.size(); ++at)
    for (const int mask : {1, 4, 0x80, 0xFF}) {
      SCOPED_TRACE(std::to_string(at) + " ^ " + std::to_string(mask));
      Bytes bytes = good.bytes;
      bytes[at] = static_cast<uint8_t>(bytes[at] ^ mask);
      forge::repair(&bytes);
      put(bytes);
      const Texts found = records();
      const bool finished = info().state == QOM_STATE_FINISHED;
      believed += finished;
      ASSERT_EQ(found.size(), 4u);
      for (size_t i = 0; i < 4; ++i) {
        const bool refused = found[i].rfind("error: record at offset ", 0) == 0;
        ASSERT_EQ(entries()[i].flags & ~QOM_ENTRY_TIME_RAISED, 0);
        ASSERT_EQ(entries()[i].reserved, 0);
        if (finished && refused) continue;
        // A time that the index has too large raises those behind it.
        ASSERT_EQ(found[i].substr(0, 23), "QOM_CURSOR_POSITION at ");
        ASSERT_EQ(found[i].substr(found[i].size() - 4), " " + std::to_string(i) + " 0");
      }
      if (finished) continue;
      ASSERT_EQ(index_from(path, IndexSource::end_mark), index_from(path, IndexSource::walk));
    }
  EXPECT_GT(believed, 50u);
}

// What a single byte does not reach.
TEST_F(Threat, IndexesAndEndMarksThatLie) {
  const auto add_index = [](Recording *r) { r->add_index(qom::frame_index_part, {}, r->entries); };
  expect_walked_around("the same record twice", four_records([&](Recording *r) {
                         r->entries[2].position = r->entries[1].position;
                         add_index(r);
                       }));
  expect_walked_around("a block in place of a part", four_records([](Recording *r) {
                         r->add_index(qom::frame_index_block, {}, r->entries);
                       }));
  expect_walked_around("twice the entries", four_records([&](Recording *r) {
                         add_index(r);
                         r->add_index(qom::frame_index_part, {0, 0, 4, 0, 0}, r->entries);
                       }));
}

TEST_F(Threat, ChainsThatLoopOrDoNotJoin) {
  constexpr uint64_t true_one = 1, itself = 2;
  // Two blocks of two records each; the second says this of the first and of itself.
  const auto chain = [](uint64_t previous, uint64_t first, long entries) {
    Recording r;
    const auto add_two = [&r] {
      r.add(QOM_CURSOR_POSITION, Bytes(4));
      r.add(QOM_CURSOR_POSITION, Bytes(4));
    };
    add_two();
    const size_t block = r.add_index(qom::frame_index_block, {}, r.entries);
    add_two();
    if (previous == true_one) previous = block;
    if (previous == itself) previous = r.bytes.size();
    r.add_index(qom::frame_index_block, {0, previous, first, 0, 0},
                {r.entries.begin() + 2, r.entries.begin() + 2 + entries});
    return r;
  };
  // This chain is used where it holds: a walk would see the damage before it.
  Bytes damaged = chain(true_one, 2, 2).bytes;
  damaged[48] ^= 1;
  put(damaged);
  EXPECT_EQ(qom_reader_index_length(open().get()), 4u);

  const struct {
    const char *what;
    uint64_t previous;
    uint64_t first;
    long entries;
  } lies[] = {{"a good chain", true_one, 2, 2},
              {"itself", itself, 2, 2},
              {"behind the file", UINT64_MAX, 2, 2},
              {"a record", 84, 2, 2},
              {"overlapping numbers", true_one, 1, 2},
              {"numbers with a gap", true_one, 3, 1},
              {"no beginning", 0, 2, 2},
              {"numbers that wrap", true_one, UINT64_MAX - 1, 2},
              {"more than memory", true_one, uint64_t{1} << 40, 2},
              {"an empty block", true_one, 2, 0}};
  for (const auto &[what, previous, first, entries] : lies)
    expect_walked_around(what, chain(previous, first, entries));

  Recording long_entry;
  long_entry.add(QOM_DEBUG);
  long_entry.entries[0].length = 77;
  long_entry.add_index(qom::frame_index_block, {}, long_entry.entries);
  expect_walked_around("an entry that reaches into the block", long_entry, 1);
}

// --- work without end ------------------------------------------------------------------------

// Every block holds all that follow it in the file as its checkpoints: without a check the
// memory for them grows with the square of the file's size.
TEST_F(Threat, BlocksThatOverlapDoNotMultiply) {
  constexpr size_t count = 3000;
  Recording recording;
  for (size_t i = 0; i < count; ++i) recording.add(QOM_DEBUG);
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

// A file that is no recording is refused by a look at its ends, whatever it lays out there.
TEST_F(Threat, LookingForAHeadTakesLittle) {
  const Recording other(forge::header_payload(RGB565));
  Bytes lies(500, 'x');
  qom::FrameHead head;
  head.type = qom::frame_head_copy;
  head.stored_length = 20 + qom::max_header_bytes;
  Bytes lie(qom::frame_head_bytes);
  qom::encode_frame_head(head, 1, lie.data());
  lie.insert(lie.end(), other.bytes.begin(), other.bytes.begin() + 12);
  forge::append(&lie, qom::max_header_bytes);
  for (int i = 0; i < 100000; ++i) forge::append(&lies, lie);
  lies.resize(lies.size() + (size_t{6} << 20));
  for (const bool lying : {false, true}) {
    put(lying ? lies : Bytes(500, 'x'));
    truncate(size_t{1} << 30);
    const size_t before = bytes_read();
    EXPECT_EQ(refusal(), "not a recording: it does not begin like one");
    EXPECT_LT(bytes_read() - before, size_t{lying ? 100u : 17u} << 20);
  }
  // A copy that holds another recording's head proves nothing.
  Recording recording;
  recording.add(qom::frame_head_copy, other.bytes);
  recording.bytes[0] ^= 1;
  put(recording.bytes);
  EXPECT_EQ(refusal(), "not a recording: it does not begin like one");
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
