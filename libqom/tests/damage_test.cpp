// Files that were cut off, flipped, or changed under the reader's feet.
#include <algorithm>
#include <cerrno>

#include "fixture.h"

namespace {

class Damage : public RecordingTest {
 protected:
  // Writes a checkpoint and a record of every type.
  void write_sample(bool finish, const QomHeader &header = sample_header()) {
    QomWriter *writer = create(header);
    append_checkpoint(writer, 1000);
    append(writer, every_record(header));
    frames = close(writer);
    if (!finish) truncate(frames);
    whole = records();
    index = entries();
    head_bytes = (start(0) - qom::frame_head_bytes) / 2;
  }

  size_t start(size_t record) const { return static_cast<size_t>(index[record].position); }
  size_t end(size_t record) const {
    return start(record) + qom::frame_head_bytes + index[record].length;
  }
  // The record whose frame holds this byte, or how many there are when none does.
  size_t record_of_byte(size_t at) const {
    size_t record = 0;
    while (record < index.size() && (at < start(record) || at >= end(record))) ++record;
    return record;
  }

  Texts whole;                       // of the recording as it was written
  std::vector<QomIndexEntry> index;  // of it
  size_t frames = 0;                 // bytes of it before it was closed
  size_t head_bytes = 0;             // of its file head, which a copy follows
};

TEST_F(Damage, EveryLengthOfAFileHoldsExactlyItsCompleteRecords) {
  write_sample(true);
  for (size_t length = contents().size() - 1; length > 0; --length) {
    truncate(length);
    if (length < head_bytes) {
      EXPECT_NE(refusal(), "it opens") << length;
      continue;
    }
    size_t complete = 0;
    while (complete < index.size() && end(complete) <= length) ++complete;
    ASSERT_EQ(records(), Texts(whole.begin(), whole.begin() + static_cast<long>(complete)))
        << length;
    const QomReaderInfo found = info();
    ASSERT_EQ(found.state, QOM_STATE_UNFINISHED) << length;
    ASSERT_EQ(found.damaged_bytes, 0u) << length;
    if (complete < index.size() && length >= start(complete)) {
      ASSERT_EQ(found.torn_bytes, length - start(complete)) << length;
    }
  }
}

// What comes back from a file of which a byte is wrong must be what was written. Only the record
// that holds the byte is lost, and the reader says where.
TEST_F(Damage, EveryFlippedByteIsDetectedAndNeverReturnedAsGood) {
  for (const bool finished : {true, false}) {
    write_sample(finished);
    const auto sound = scan();
    const Bytes good = contents();
    for (size_t at = 0; at < good.size(); ++at) {
      SCOPED_TRACE(at);
      index_lies = at >= head_bytes;  // to the second reader: it has the lost record
      Bytes bytes = good;
      bytes[at] = static_cast<uint8_t>(bytes[at] ^ 1 << at % 8);
      put(bytes);
      Texts expected = whole;
      const size_t hit = record_of_byte(at);
      if (hit < whole.size()) expected.erase(expected.begin() + static_cast<long>(hit));
      ASSERT_EQ(good_records(), expected);
      ASSERT_NE(scan(), sound);
      const QomReaderInfo found = info();
      ASSERT_EQ(found.head_recovered, at < head_bytes);
      if (at < head_bytes) {
        ASSERT_EQ(found.state, QOM_STATE_DAMAGED);
        ASSERT_EQ(found.damaged_bytes, 0u) << "all frames are whole";
      } else if (!finished && hit < whole.size() && at < start(hit) + qom::frame_head_bytes) {
        ASSERT_EQ(found.state, QOM_STATE_DAMAGED);
        ASSERT_EQ(found.damaged_at, index[hit].position);
        ASSERT_EQ(found.damaged_bytes, end(hit) - start(hit));
      } else if (hit == whole.size() && at >= frames + qom::frame_head_bytes + head_bytes) {
        ASSERT_EQ(found.state, QOM_STATE_DAMAGED) << "in the index or the end mark";
      }
    }
    index_lies = false;
  }
}

// A sector may be lost with the head and the copy behind it: another one is in front of the index.
TEST_F(Damage, AHeadComesBackFromWhereverACopyIs) {
  QomWriter *writer = create();
  append_positions(writer, 9000);
  for (uint64_t i = 0; i < 9; ++i)
    append(writer, list(image(sample_header(), 20000 + i, 1024, 1024)));
  frames = close(writer);
  const size_t count = entries().size();
  Bytes shorter = contents();
  Bytes no_sector = shorter;
  shorter.erase(shorter.begin() + 4);  // a line end was changed, and all positions are wrong
  std::fill_n(no_sector.begin(), 4096, 0);
  Bytes unfinished = no_sector;  // it has the copies that came with blocks of the index
  unfinished.resize(frames);
  std::fill_n(no_sector.begin(), 9 << 20, 0);  // nor any copy near the beginning
  for (const Bytes &bytes : {shorter, no_sector, unfinished}) {
    put(bytes);
    EXPECT_EQ(info().head_recovered, 1);
    EXPECT_EQ(entries().size(), count);
  }
}

// The search for the next record reads the file in windows; a head may lie across two of them.
TEST_F(Damage, RecordsBehindAnyLengthOfGarbageAreFound) {
  write_sample(false);
  const Bytes good = contents();
  const auto middle = static_cast<std::ptrdiff_t>(start(5));
  // Where the first window ends, counted from where the garbage begins.
  const size_t window = 256 * 1024 - (start(5) - head_bytes);
  for (const size_t length : {size_t{1}, size_t{33}, window - 32, window - 31, window - 4,
                              window - 3, window - 1, window, window + 1}) {
    Bytes garbage(length, 0x55);
    for (size_t i = 0; i + 4 < length; i += 997)
      std::copy(qom::sync_word, qom::sync_word + 4, garbage.begin() + static_cast<long>(i));
    Bytes bytes = good;
    bytes.insert(bytes.begin() + middle, garbage.begin(), garbage.end());
    put(bytes);
    ASSERT_EQ(records(), whole) << length;
    ASSERT_EQ(info().damaged_at, middle) << length;
    ASSERT_EQ(info().damaged_bytes, length) << length;
  }
}

TEST_F(Damage, BytesBehindTheLastRecord) {
  QomHeader wider = sample_header();
  wider.width = 65;
  write_sample(false, wider);
  const Bytes other_recording = contents();
  write_sample(false);
  const Bytes good = contents();
  const Bytes zeros(5000, 0);  // as a machine that lost power leaves them
  const std::pair<Bytes, QomReaderState> cases[] = {{zeros, QOM_STATE_UNFINISHED},
                                                    {zeros + Bytes(50, 7), QOM_STATE_DAMAGED},
                                                    {other_recording, QOM_STATE_DAMAGED}};
  for (const auto &[tail, state] : cases) {
    put(good + tail);
    EXPECT_EQ(records(), whole);
    EXPECT_EQ(info().state, state);
    EXPECT_EQ(info().torn_bytes, state == QOM_STATE_DAMAGED ? 0 : tail.size());
  }
}

TEST_F(Damage, AFileThatIsCutWhileItIsOpen) {
  write_sample(true);
  const Reader reader = open();
  ASSERT_EQ(qom_reader_index_length(reader.get()), whole.size());
  truncate(start(8) + 10);
  for (size_t i = 0; i < whole.size(); ++i) {
    const Record record(qom_record_at_index(reader.get(), i));
    EXPECT_EQ(describe(record.get()), i < 8 ? whole[i] : "none");
    EXPECT_TRUE(record || errno == 0 || errno == EINVAL) << "the bytes of the file are at fault";
  }
}

// What was appended is in the file, and a reader sees that as it was when it was opened.
TEST_F(Damage, AWriterThatIsKilledLosesNothing) {
  QomWriter *writer = create();
  append_positions(writer, 1);
  const Reader early = open();
  append_positions(writer, 1);
  EXPECT_EQ(qom_reader_index_length(early.get()), 1u);
  EXPECT_EQ(records().size(), 2u);
  close(writer);
}

}  // namespace
