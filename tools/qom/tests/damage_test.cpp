// verify and repair on recordings that are not what was written.
#include <unistd.h>

#include <cstring>

#include <nlohmann/json.hpp>

#include "program.h"
#include "qom/qom.h"
#include "records.h"

namespace qomtool {
namespace {

constexpr size_t kFrameHead = 32;
constexpr size_t kTimeAt = 8;  // in a frame head, as below
constexpr size_t kLengthAt = 16;
constexpr size_t kPayloadSumAt = 24;
constexpr size_t kHeadSumAt = 28;

uint32_t crc32c(const std::string &bytes) {
  uint32_t crc = 0xffffffff;
  for (char c : bytes) {
    crc ^= static_cast<uint8_t>(c);
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0x82f63b78 : 0);
  }
  return ~crc;
}

template <typename Number>
Number get(const std::string &bytes, size_t at) {
  Number number;
  std::memcpy(&number, &bytes[at], sizeof number);
  return number;
}

template <typename Number>
void put(std::string &bytes, size_t at, Number number) {
  std::memcpy(&bytes[at], &number, sizeof number);
}

class Damage : public ProgramTest {
 protected:
  void SetUp() override {
    ProgramTest::SetUp();
    make("sound", small_text());
    bytes_ = read_file(path("sound"));
    lines_ = qom({"dump", path("sound")}).out;
    const ReaderPtr reader(qom_reader_open(path("sound").c_str()));
    const QomIndexEntry *index = qom_reader_index(reader.get());
    entries_.assign(index, index + qom_reader_index_length(reader.get()));
  }

  Outcome verify(const std::string &bytes) {
    write_file(path("damaged"), bytes);
    return qom({"verify", path("damaged")});
  }

  // Repairs the bytes and expects a whole recording; returns what repair printed.
  std::string repair(const std::string &bytes) {
    write_file(path("damaged"), bytes);
    unlink(path("repaired").c_str());
    const Outcome outcome = qom({"repair", path("damaged"), path("repaired")});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const Outcome verdict = qom({"verify", path("repaired")});
    EXPECT_EQ(verdict.status, 0) << verdict.out;
    EXPECT_NE(verdict.out.find("good, finished"), std::string::npos) << verdict.out;
    return outcome.out;
  }

  std::string flipped(size_t at) const {
    std::string bytes = bytes_;
    bytes[at] = static_cast<char>(bytes[at] ^ 1 << at % 8);
    return bytes;
  }

  size_t position(size_t record) const { return static_cast<size_t>(entries_[record].position); }

  // Makes the checksums of the frame at `at` right again after a change.
  void seal(std::string &bytes, size_t at) const {
    const auto length = get<uint32_t>(bytes, at + kLengthAt);
    put(bytes, at + kPayloadSumAt, crc32c(bytes.substr(at + kFrameHead, length)));
    const std::string salt = bytes.substr(position(0) - 4, 4);
    put(bytes, at + kHeadSumAt, crc32c(salt + bytes.substr(at, kHeadSumAt)));
  }

  // Puts a number into a record's payload, with good checksums.
  template <typename Number>
  std::string forged(size_t record, size_t offset, Number number) const {
    std::string bytes = bytes_;
    put(bytes, position(record) + kFrameHead + offset, number);
    seal(bytes, position(record));
    return bytes;
  }

  std::string bytes_;
  std::string lines_;
  std::vector<QomIndexEntry> entries_;
};

bool contains(const std::string &text, const std::string &part) {
  return text.find(part) != std::string::npos;
}

TEST_F(Damage, ASoundRecordingIsGoodAndRepairsToItself) {
  const Outcome verdict = verify(bytes_);
  EXPECT_EQ(verdict.status, 0);
  EXPECT_EQ(verdict.out, path("damaged") + ": good, finished, 38 records, 2 checkpoints\n");
  EXPECT_TRUE(contains(repair(bytes_), "38 records, 2 checkpoints\nnothing was lost"));
  EXPECT_EQ(read_file(path("repaired")), bytes_);
}

// Every frame once in its head and once in its last byte, the file head, and the index.
TEST_F(Damage, EveryFlippedByteIsFoundAndRepairable) {
  std::vector<size_t> places;
  for (const QomIndexEntry &entry : entries_) {
    places.push_back(static_cast<size_t>(entry.position) + places.size() % kFrameHead);
    places.push_back(static_cast<size_t>(entry.position) + kFrameHead + entry.length - 1);
  }
  const size_t records_end = places.back() + 1;
  for (size_t at = records_end; at < bytes_.size(); at += 41) places.push_back(at);
  for (size_t at : places) {
    SCOPED_TRACE("byte " + std::to_string(at) + " of " + std::to_string(bytes_.size()));
    const Outcome verdict = verify(flipped(at));
    EXPECT_EQ(verdict.status, 1) << verdict.out;
    EXPECT_TRUE(contains(verdict.out, "offset ")) << verdict.out;
    const std::string told = repair(flipped(at));
    EXPECT_TRUE(contains(told, at < records_end ? "37 records" : "38 records")) << told;
    EXPECT_TRUE(contains(told, "lost:")) << told;
  }
  for (size_t at = 0; at < static_cast<size_t>(entries_[0].position); at += 7) {
    EXPECT_EQ(verify(flipped(at)).status, 3) << "file head, byte " << at;
  }
}

TEST_F(Damage, VerifyTellsPlaceLengthTimesAndReason) {
  const QomIndexEntry &entry = entries_[12];
  const Outcome verdict = verify(flipped(static_cast<size_t>(entry.position) + kFrameHead));
  const std::string line = "offset " + std::to_string(entry.position) + ", " +
                           std::to_string(kFrameHead + entry.length) +
                           " bytes, between 0:00:01.750 and 0:00:02.750: its checksum is wrong\n";
  EXPECT_TRUE(contains(verdict.out, line)) << verdict.out << line;
  EXPECT_TRUE(contains(verdict.out, "1 records of the index lie in damaged bytes"));
  EXPECT_TRUE(contains(verdict.out, "damaged, 1 problems, 37 records are readable\n"));
}

TEST_F(Damage, AListingCanBeCutShort) {
  std::string bytes = bytes_;
  for (size_t i : {3u, 8u, 20u}) bytes[static_cast<size_t>(entries_[i].position)] ^= 1;
  write_file(path("damaged"), bytes);
  const std::string out = qom({"verify", "--limit", "1", path("damaged")}).out;
  EXPECT_TRUE(contains(out, "offset " + std::to_string(entries_[3].position))) << out;
  EXPECT_FALSE(contains(out, "offset " + std::to_string(entries_[8].position))) << out;
  EXPECT_TRUE(contains(out, " more are not listed")) << out;
  EXPECT_TRUE(contains(out, "35 records are readable")) << out;
}

TEST_F(Damage, ATornTailIsSaidAndIsNoDamage) {
  const size_t records_end =
      static_cast<size_t>(entries_.back().position) + kFrameHead + entries_.back().length;
  for (size_t length = static_cast<size_t>(entries_[0].position); length <= records_end;
       length += 13) {
    const std::string cut = bytes_.substr(0, length);
    const Outcome verdict = verify(cut);
    EXPECT_EQ(verdict.status, 0) << verdict.out;
    EXPECT_TRUE(contains(verdict.out, "good, unfinished")) << verdict.out;
    size_t whole = 0;
    while (whole < entries_.size() &&
           static_cast<size_t>(entries_[whole].position) + kFrameHead + entries_[whole].length <=
               length) {
      ++whole;
    }
    const std::string records = std::to_string(whole) + " records";
    EXPECT_TRUE(contains(verdict.out, records)) << length << ' ' << verdict.out;
    EXPECT_TRUE(contains(repair(cut), records)) << length;
    // The records that are there are those that were written.
    const std::string lines = qom({"dump", path("repaired")}).out;
    EXPECT_EQ(lines, lines_.substr(0, lines.size())) << length;
  }
}

TEST_F(Damage, GarbageBehindTheEndIsDamageAndGoesAway) {
  const std::string garbage = bytes_ + std::string(1000, 'g');
  const Outcome verdict = verify(garbage);
  EXPECT_EQ(verdict.status, 1);
  EXPECT_TRUE(contains(verdict.out, "offset " + std::to_string(bytes_.size()) + ", 1000 bytes"))
      << verdict.out;
  repair(garbage);
  EXPECT_EQ(read_file(path("repaired")), bytes_);
}

TEST_F(Damage, ACheckpointWithALostRecordGoesOverAsRecords) {
  // The footer text of the first checkpoint, and its frame with it.
  const std::string told = repair(flipped(static_cast<size_t>(entries_[22].position) + kFrameHead));
  EXPECT_TRUE(contains(told, "37 records, 1 checkpoints")) << told;
  EXPECT_TRUE(contains(told, "1 records that the index has in these bytes")) << told;
  EXPECT_TRUE(contains(told, "1 checkpoints, whose other records")) << told;
}

// Good checksums and contents that no writer would write.
TEST_F(Damage, ForgedRecordsAreFoundAndLeftOut) {
  const struct {
    const char *what;
    std::string bytes;
    size_t checkpoints;
  } forgeries[] = {
      {"an image block wider than its record", forged<uint16_t>(12, 4, 0x7fff), 2},
      {"an image block without pixels", forged<uint16_t>(12, 6, 0), 2},
      {"compressed bytes that are no zstd frame", forged<uint32_t>(17, 12, 0), 1},
      {"compressed blocks that are no zstd frame", forged<uint32_t>(13, 0, 0), 2},
      {"a hot spot outside of the cursor", forged<uint16_t>(18, 8, 3), 1},
      {"an image of another format", forged<uint8_t>(11, 8, 1), 2},
      {"a text longer than its record", forged<uint32_t>(20, 0, 1000), 1},
  };
  for (const auto &[what, bytes, checkpoints] : forgeries) {
    SCOPED_TRACE(what);
    const Outcome verdict = verify(bytes);
    EXPECT_EQ(verdict.status, 1);
    EXPECT_TRUE(contains(verdict.out, "1 problems, 37 records are readable") ||
                contains(verdict.out, "2 problems, 37 records are readable"))
        << verdict.out;
    const std::string told = repair(bytes);
    EXPECT_TRUE(contains(told, "37 records, " + std::to_string(checkpoints) + " checkpoints"))
        << told;
  }
}

TEST_F(Damage, AnIndexThatLiesIsFound) {
  // The full index follows the last record.
  const size_t part = position(37) + kFrameHead + entries_[37].length;
  constexpr size_t kEntries = kFrameHead + 32;
  ASSERT_EQ(get<int64_t>(bytes_, part + kEntries), entries_[0].position);
  for (const size_t field : {size_t{8}, size_t{16}}) {  // the time, the type
    std::string bytes = bytes_;
    bytes[part + kEntries + 24 * 36 + field] ^= 1;
    seal(bytes, part);
    const Outcome verdict = verify(bytes);
    EXPECT_EQ(verdict.status, 1) << verdict.out;
    EXPECT_TRUE(contains(verdict.out, "offset " + std::to_string(position(36)))) << verdict.out;
    EXPECT_TRUE(contains(repair(bytes), "38 records, 2 checkpoints"));
    EXPECT_EQ(read_file(path("repaired")), bytes_);
  }
}

TEST_F(Damage, ATimeThatGoesBackIsToldAndRaised) {
  std::string bytes = bytes_.substr(0, position(37) + kFrameHead + entries_[37].length);
  put(bytes, position(12) + kTimeAt, uint64_t{1});
  seal(bytes, position(12));
  const Outcome verdict = verify(bytes);
  EXPECT_EQ(verdict.status, 1);
  EXPECT_TRUE(contains(verdict.out, "the time goes back")) << verdict.out;
  repair(bytes);
  const std::string lines = qom({"dump", "--from", "12", "--to", "12", path("repaired")}).out;
  EXPECT_TRUE(contains(lines, "#12 0:00:01.750 ")) << lines;
}

TEST_F(Damage, DumpTellsWhatItCannotReadAndGoesOn) {
  write_file(path("damaged"), flipped(static_cast<size_t>(entries_[4].position) + kFrameHead + 1));
  const Outcome lines = qom({"dump", path("damaged")});
  EXPECT_EQ(lines.status, 1);
  EXPECT_TRUE(contains(lines.out, "#4 ") && contains(lines.out, "not readable")) << lines.out;
  EXPECT_TRUE(contains(lines.out, "#37 "));
  EXPECT_TRUE(contains(lines.err, "record #4: ")) << lines.err;
  const Outcome text = qom({"dump", "--text", path("damaged")});
  EXPECT_EQ(text.status, 1);
  make("again", text.out);
  EXPECT_TRUE(contains(qom({"verify", path("again")}).out, "37 records, 2 checkpoints"));
}

// The file may not grow beyond every possible length: a disk that fills up at any point.
TEST_F(Damage, AFullDiskIsReportedAndWhatIsThereOpens) {
  for (uint64_t room = 0; room < bytes_.size(); room += 97) {
    SCOPED_TRACE(room);
    unlink(path("out").c_str());
    const Outcome made = qom({"make", "-", path("out")}, small_text(), room);
    EXPECT_EQ(made.status, 1);
    EXPECT_NE(access(path("out").c_str(), F_OK), 0) << "make keeps only what is whole";
    const Outcome outcome = qom({"repair", path("sound"), path("out")}, "", room);
    EXPECT_EQ(outcome.status, 1);
    if (access(path("out").c_str(), F_OK) != 0) continue;  // not even the head had room
    EXPECT_TRUE(outcome.err.empty() || contains(outcome.err, "File too large")) << outcome.err;
    const Outcome verdict = qom({"verify", path("out")});
    EXPECT_EQ(verdict.status, 0) << verdict.out;
    EXPECT_TRUE(contains(verdict.out, "unfinished")) << verdict.out;
  }
}

}  // namespace
}  // namespace qomtool
