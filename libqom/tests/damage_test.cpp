// Files that were cut off, flipped, or changed under the reader's feet.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "fixture.h"

namespace {

class Damage : public RecordingTest {
 protected:
  // Positions of the records' frames in the file as it is.
  std::vector<QomIndexEntry> entries() {
    const Reader reader = open();
    const QomIndexEntry *index = qom_reader_index(reader.get());
    return {index, index + qom_reader_index_length(reader.get())};
  }

  static size_t end_of(const QomIndexEntry &entry) {
    return static_cast<size_t>(entry.position) + qom::frame_head_bytes + entry.length;
  }

  void insert(size_t at, const Bytes &bytes) {
    Bytes all = contents();
    all.insert(all.begin() + static_cast<std::ptrdiff_t>(at), bytes.begin(), bytes.end());
    put(all);
  }
};

TEST_F(Damage, EveryLengthOfAFileHoldsExactlyItsCompleteRecords) {
  write(sample_header(), every_record(sample_header()));
  const auto whole = records();
  const auto index = entries();
  const size_t size = contents().size();
  for (size_t length = size - 1; length > 0; --length) {
    truncate(length);
    if (length < static_cast<size_t>(index[0].position)) {
      EXPECT_NE(refusal(0), "it opens") << length;
      continue;
    }
    size_t complete = 0;
    while (complete < index.size() && end_of(index[complete]) <= length) ++complete;
    ASSERT_EQ(records(),
              std::vector<std::string>(whole.begin(), whole.begin() + static_cast<long>(complete)))
        << length;
    const QomReaderInfo found = info();
    ASSERT_EQ(found.state, QOM_STATE_UNFINISHED) << length;
    ASSERT_EQ(found.damaged_bytes, 0u) << length;
    const size_t end = complete > 0 ? end_of(index[complete - 1]) : size_t(index[0].position);
    if (complete < index.size()) {
      ASSERT_EQ(found.torn_bytes, length - end) << length;
    }
  }
}

// What comes back must be what was written, at its place; what does not must show in a scan.
TEST_F(Damage, EveryFlippedByteIsDetectedAndNeverReturnedAsGood) {
  for (const bool finished : {true, false}) {
    write(sample_header(), every_record(sample_header()), finished);
    const auto whole = records();
    const auto index = entries();
    const auto sound = scan();
    const Bytes good = contents();
    for (size_t at = 0; at < good.size(); ++at)
      for (const int mask : {1 << at % 8, 0xFF}) {
        Bytes bytes = good;
        bytes[at] = static_cast<uint8_t>(bytes[at] ^ mask);
        put(bytes);
        const Reader reader(qom_reader_open(path.c_str()));
        if (at < static_cast<size_t>(index[0].position)) {
          // The minor version is the one thing in a file head that may be anything, but the
          // checksum covers it too.
          ASSERT_FALSE(reader) << at;
          continue;
        }
        ASSERT_TRUE(reader) << at;
        const QomIndexEntry *found = qom_reader_index(reader.get());
        for (size_t i = 0; i < qom_reader_index_length(reader.get()); ++i) {
          const Record record(qom_record_at_index(reader.get(), i));
          if (!record) continue;
          const auto original = std::find_if(
              index.begin(), index.end(),
              [&](const QomIndexEntry &entry) { return entry.position == found[i].position; });
          ASSERT_NE(original, index.end()) << at;
          ASSERT_EQ(describe(record.get()), whole[static_cast<size_t>(original - index.begin())])
              << at;
        }
        ASSERT_NE(scan(), sound) << at;
      }
    std::filesystem::remove(path);
  }
}

TEST_F(Damage, ADamagedHeadLosesItsRecordAlone) {
  write(sample_header(), every_record(sample_header()), false);
  auto expected = records();
  const auto index = entries();
  Bytes bytes = contents();
  bytes[static_cast<size_t>(index[4].position) + 9] ^= 1;
  put(bytes);
  expected.erase(expected.begin() + 4);
  EXPECT_EQ(records(), expected);
  const QomReaderInfo found = info();
  EXPECT_EQ(found.state, QOM_STATE_DAMAGED);
  EXPECT_EQ(found.damaged_at, index[4].position);
  EXPECT_EQ(found.damaged_bytes, index[4].length + qom::frame_head_bytes);
}

TEST_F(Damage, ADamagedLastHeadIsNoTornTail) {
  write(sample_header(), every_record(sample_header()), false);
  Bytes bytes = contents();
  bytes[static_cast<size_t>(entries().back().position) + 9] ^= 1;
  put(bytes);
  EXPECT_EQ(info().state, QOM_STATE_DAMAGED);
  EXPECT_EQ(info().torn_bytes, 0u);
}

TEST_F(Damage, ADamagedIndexIsFoundOutAndWalkedAround) {
  write(sample_header(), every_record(sample_header()));
  const auto whole = records();
  Bytes bytes = contents();
  bytes[end_of(entries().back()) + 40] ^= 1;  // in the index part
  put(bytes);
  EXPECT_EQ(records(), whole);
  EXPECT_EQ(info().state, QOM_STATE_DAMAGED);
}

// The search for the next record reads the file in windows; a head may lie across two of them.
TEST_F(Damage, RecordsBehindAnyLengthOfGarbageAreFound) {
  write(sample_header(), every_record(sample_header()), false);
  const auto whole = records();
  const auto index = entries();
  const Bytes good = contents();
  // Where the first window ends, counted from where the garbage begins.
  const size_t window = 256 * 1024 - static_cast<size_t>(index[5].position - index[0].position);
  for (const size_t length :
       {size_t{1}, size_t{31}, size_t{33}, window - 33, window - 32, window - 31, window - 4,
        window - 3, window - 2, window - 1, window, window + 1}) {
    put(good);
    Bytes garbage(length, 0x55);
    for (size_t i = 0; i + 4 < length; i += 997)
      std::copy(qom::sync_word, qom::sync_word + 4, garbage.begin() + static_cast<long>(i));
    insert(static_cast<size_t>(index[5].position), garbage);
    ASSERT_EQ(records(), whole) << length;
    ASSERT_EQ(info().damaged_at, index[5].position) << length;
    ASSERT_EQ(info().damaged_bytes, length) << length;
  }
}

TEST_F(Damage, BytesBehindTheLastRecord) {
  write(sample_header(), every_record(sample_header()), false);
  const auto whole = records();
  append_garbage(Bytes(5000, 0));  // as a machine that lost power leaves them
  EXPECT_EQ(records(), whole);
  EXPECT_EQ(info().state, QOM_STATE_UNFINISHED);
  EXPECT_EQ(info().torn_bytes, 5000u);
  append_garbage(Bytes(50, 7));
  EXPECT_EQ(records(), whole);
  EXPECT_EQ(info().state, QOM_STATE_DAMAGED);
}

TEST_F(Damage, ARecordOfAnotherRecordingIsNotTakenForOneOfThisFile) {
  QomHeader other = sample_header();
  other.width = 65;
  write(other, every_record(other), false);
  const Bytes foreign = contents();
  std::filesystem::remove(path);
  write(sample_header(), every_record(sample_header()), false);
  const auto whole = records();
  append_garbage(foreign);
  EXPECT_EQ(records(), whole);
  EXPECT_EQ(info().state, QOM_STATE_DAMAGED);
}

TEST_F(Damage, AFileThatIsCutOrChangedWhileItIsOpen) {
  write(sample_header(), every_record(sample_header()));
  const auto whole = records();
  const auto index = entries();
  const Reader reader = open();
  ASSERT_EQ(qom_reader_index_length(reader.get()), whole.size());

  const auto at = static_cast<off_t>(index[3].position) + 40;
  const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_EQ(pwrite(file, "changed", 7, at), 7);
  ::close(file);
  errno = -1;
  EXPECT_FALSE(qom_record_at_index(reader.get(), 3));
  EXPECT_EQ(errno, 0);
  EXPECT_NE(std::string(qom_reader_error()).find("its checksum is wrong"), std::string::npos);

  truncate(static_cast<size_t>(index[6].position) + 10);
  for (size_t i = 6; i < index.size(); ++i) {
    errno = -1;
    EXPECT_FALSE(qom_record_at_index(reader.get(), i));
    EXPECT_EQ(errno, 0);
  }
  EXPECT_NE(std::string(qom_reader_error()).find("the file ends"), std::string::npos);
  for (const size_t i : {0, 1, 2, 4, 5})
    EXPECT_EQ(describe(Record(qom_record_at_index(reader.get(), i)).get()), whole[i]);
}

TEST_F(Damage, AReaderSeesTheFileAsItWasWhenItWasOpened) {
  QomWriter *writer = create();
  ASSERT_EQ(qom_writer_append(writer, position(1000).get()), 0);
  const Reader early = open();
  ASSERT_EQ(qom_writer_append(writer, position(1001).get()), 0);
  EXPECT_EQ(qom_reader_index_length(early.get()), 1u);
  EXPECT_EQ(records().size(), 2u);
  EXPECT_EQ(info().state, QOM_STATE_UNFINISHED);
  close(writer);
  EXPECT_EQ(info().state, QOM_STATE_FINISHED);
}

}  // namespace
