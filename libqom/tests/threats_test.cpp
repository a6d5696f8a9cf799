// Recordings of somebody who means harm: every checksum is right, everything else is a lie.
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "base/checksum.h"
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

// Bytes that this process has read from files so far.
size_t bytes_read() {
  std::ifstream in("/proc/self/io");
  in.ignore(100, ':');
  size_t bytes = 0;
  in >> bytes;
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

  // Puts each lie between two good records, and nothing but those may come back.
  void expect_refused(const std::vector<Lie> &lies) {
    for (const Lie &lie : lies) {
      Recording recording;
      recording.add(QOM_DEBUG);
      recording.add(lie.type, lie.payload, 0, lie.raw_length, lie.codec);
      recording.add(QOM_DONE);
      put(recording.bytes);
      EXPECT_EQ(good_records(), (Texts{"QOM_DEBUG at 1000", "QOM_DONE at 1002"})) << lie.what;
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

// Which values of a header are wrong is told by the lies in one byte below: it is a record, too.
TEST_F(Threat, FilesThatAreNoRecording) {
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(refusal(), "not a regular file");
  std::filesystem::remove(path);
  const Bytes good = Recording().bytes;
  Bytes huge = forge::header_payload();
  forge::put(&huge, 16, uint32_t{0x40004000});
  Bytes wrong_version = good;
  wrong_version[8] = 3;
  Bytes cut_off = good;
  forge::put(&cut_off, 12, uint32_t{0xFFFFFFF0});
  for (const auto &[bytes, reason] :
       {std::pair<Bytes, const char *>{{}, "not a recording: too short"},
        {Bytes(500, 'x'), "not a recording: it does not begin like one"},
        {wrong_version, "a recording of format version 3.0; this program reads versions 1 and 2"},
        {cut_off, "a recording whose header is cut off"},
        {Recording(Bytes(qom::max_header_bytes + 1)).bytes, "a recording whose header is cut off"},
        {Recording(huge).bytes, "a screen of 16384x16384 pixels is not allowed"},  // 1 GiB
        {Recording(Bytes(19)).bytes, "a header that is cut off"}}) {
    put(bytes);
    EXPECT_EQ(refusal(), reason);
  }
  // Fields of later versions are no lie.
  put(Recording(forge::header_payload() + Bytes(100, 0xFF), 300).bytes);
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
      refused += good_records().size() < entries().size();
      ASSERT_FALSE(HasFailure()) << "byte " << at << " ^ " << mask;
    }
  EXPECT_GT(refused, 300u);
}

// What a single byte does not reach: sizes beyond the limits, with as many bytes as they ask for.
TEST_F(Threat, RecordsThatLieThroughout) {
  using forge::geometry;
  const Bytes packed(20);
  constexpr auto zstd = qom::codec_zstd;
  const auto cursor = [](uint16_t width, uint16_t height) {
    return bytes_of(width, height, uint32_t{0}, uint32_t{0}, uint32_t{1}) +
           Bytes(size_t{4} * width * height);
  };
  const Bytes long_text = bytes_of(uint32_t{QOM_MAX_TEXT + 1}) + Bytes(QOM_MAX_TEXT + 1, 'x');
  expect_refused(
      {{"sides whose product wraps", QOM_IMAGE, geometry(32768, 32768)},
       {"a side that is too long", QOM_IMAGE, geometry(16385, 1) + Bytes(65540), 65540},
       // Each side is allowed, but all the pixels are more than 256 MiB.
       {"an image that is too large", QOM_COMPRESSED_IMAGE, geometry(16384, 4097) + packed,
        16384u * 4097 * 4, zstd},
       {"too many bytes of blocks", QOM_COMPRESSED_IMAGE_BLOCKS, packed, QOM_MAX_DATA + 1, zstd},
       {"a cursor that is too wide", QOM_CURSOR_IMAGE, cursor(1025, 1), 4100},
       {"a text that is too long", QOM_FOOTER_ITEM_TID, long_text},
       {"copies that are cut off", QOM_COPY_AREA, bytes_of(uint64_t{1} << 32, uint64_t{1}), 4},
       {"copies of another length", QOM_COPY_AREA,
        bytes_of(uint32_t{0}, uint32_t{0x10001}, uint32_t{0}), 8},
       {"no copies", QOM_COPY_AREA, {}, 0},
       {"the second text is missing", QOM_LAST_INPUT, forge::text("x")}});
}

TEST_F(Threat, TimesNearTheEndOfTime) {
  Recording recording;
  for (const uint64_t time : {UINT64_MAX, QOM_MAX_TIME + 1, QOM_MAX_TIME})
    recording.add(QOM_DEBUG, {}, time);
  for (const bool finished : {false, true}) {
    if (finished) recording.finish();
    put(recording.bytes);
    EXPECT_EQ(records(), Texts{"QOM_DEBUG at 4611686018427387904"});
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
        ASSERT_EQ(entries()[i].area, 0);
        if (finished && found[i].rfind("error: record at offset ", 0) == 0) continue;
        // A time that the index has too large raises those behind it.
        ASSERT_EQ(found[i].substr(0, 23), "QOM_CURSOR_POSITION at ");
        ASSERT_EQ(found[i].substr(found[i].size() - 4), " " + std::to_string(i) + " 0");
      }
      if (finished) continue;
      ASSERT_EQ(index_from(path, IndexSource::end_mark), index_from(path, IndexSource::walk));
    }
  EXPECT_GT(believed, 50u);
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
  const struct {
    const char *what;
    uint64_t previous;
    uint64_t first;
    long entries;
  } lies[] = {{"a good chain", true_one, 2, 2},
              {"itself", itself, 2, 2},
              {"overlapping numbers", true_one, 1, 2},
              {"numbers with a gap", true_one, 3, 1},
              {"no beginning", 0, 2, 2},
              {"numbers that wrap", true_one, UINT64_MAX - 1, 2},
              {"more than memory", true_one, uint64_t{1} << 40, 2},
              {"an empty block", true_one, 2, 0}};
  for (const auto &[what, previous, first, entries] : lies)
    expect_walked_around(what, chain(previous, first, entries));
}

// What a single byte does not reach.
TEST_F(Threat, EntriesThatLie) {
  for (const uint8_t type : {qom::frame_index_part, qom::frame_index_block})
    expect_walked_around("records that overlap", four_records([type](Recording *r) {
                           if (type == qom::frame_index_part)
                             r->entries[2].position = r->entries[1].position + 4;
                           r->add_index(type, {}, r->entries);  // a block is no part
                         }));
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

// Heads without frames behind them, of copies of the head and of blocks: the search must give up.
TEST_F(Threat, HeadsThatLeadNowhereDoNotTakeForever) {
  Recording recording;
  const auto many = [&recording](uint8_t type, uint32_t length, uint32_t salt, const Bytes &start) {
    qom::FrameHead head;
    head.type = type;
    head.stored_length = length;
    Bytes lie(qom::frame_head_bytes);
    qom::encode_frame_head(head, salt, lie.data());
    Bytes lies;
    for (int i = 0; i < 100000; ++i) forge::append(&lies, lie + start);
    recording.add(200, lies);
  };
  recording.add(QOM_DEBUG);
  many(qom::frame_index_block, 7, recording.salt, {});
  recording.add(QOM_DONE);
  put(recording.bytes);
  size_t before = bytes_read();
  EXPECT_EQ(qom_reader_index_length(open().get()), 2u);
  EXPECT_LT(bytes_read() - before, 20 * recording.bytes.size());

  const Bytes other = Recording(forge::header_payload(RGB565)).bytes;
  const Bytes longest = Bytes(other.begin(), other.begin() + 12) + bytes_of(qom::max_header_bytes);
  recording.add(qom::frame_head_copy, other);  // another recording's proves nothing
  many(qom::frame_head_copy, 20 + qom::max_header_bytes, 1, longest);
  recording.bytes[0] ^= 1;
  put(recording.bytes);
  truncate(size_t{1} << 30);
  before = bytes_read();
  EXPECT_EQ(refusal(), "not a recording: it does not begin like one");
  EXPECT_LT(bytes_read() - before, size_t{100} << 20);
}

}  // namespace
