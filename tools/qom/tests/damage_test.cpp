// verify and repair on recordings that are not what was written.
#include <unistd.h>
#include <zstd.h>

#include <algorithm>
#include <cstring>
#include <sstream>

#include "program.h"

namespace qomtool {
namespace {

constexpr size_t kTimeAt = 8;  // in a frame head

class Damage : public ProgramTest {
 protected:
  void SetUp() override {
    make("recording", small_text());
    sound_ = read_file(path);
    lines_ = qom({"dump", path}).out;
    entries_ = entries();
  }

  Outcome verify(const std::string &bytes) {
    write_file(file("damaged"), bytes);
    return qom({"verify", file("damaged")});
  }

  // Repairs the bytes and expects a whole recording; returns what repair printed.
  std::string repair(const std::string &bytes) {
    write_file(file("damaged"), bytes);
    unlink(file("repaired").c_str());
    const Outcome outcome = qom({"repair", file("damaged"), file("repaired")});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const Outcome verdict = qom({"verify", file("repaired")});
    EXPECT_EQ(verdict.status, 0) << verdict.out;
    EXPECT_TRUE(contains(verdict.out, "good, finished")) << verdict.out;
    return outcome.out;
  }

  std::string flipped(size_t at) const {
    std::string bytes = sound_;
    bytes[at] = static_cast<char>(bytes[at] ^ 1 << at % 8);
    return bytes;
  }

  // Puts a number into the file and makes all checksums right again.
  template <typename Number>
  std::string forged(size_t at, Number number, size_t length = SIZE_MAX) const {
    std::string bytes = sound_.substr(0, length);
    std::memcpy(&bytes[at], &number, sizeof number);
    forge::repair(reinterpret_cast<uint8_t *>(bytes.data()), bytes.size(), false);
    return bytes;
  }

  size_t frame(size_t record) const { return static_cast<size_t>(entries_[record].position); }
  size_t payload(size_t record) const { return frame(record) + qom::frame_head_bytes; }
  size_t end(size_t record) const { return payload(record) + entries_[record].length; }
  static std::string offset(size_t at) { return "offset " + std::to_string(at); }

  // Every line of `parts` is somewhere in the output.
  static void expect_lines(const std::string &output, const std::string &parts) {
    std::istringstream lines(parts);
    for (std::string line; std::getline(lines, line);)
      EXPECT_TRUE(contains(output, line)) << output;
  }

  std::string sound_;  // the bytes of a good recording
  std::string lines_;  // its dump
  std::vector<QomIndexEntry> entries_;
};

TEST_F(Damage, IsToldByVerifyAndRemovedByRepair) {
  const size_t copy = (frame(0) + qom::frame_head_bytes) / 2;  // of the file head, as a frame
  const size_t entry36 = end(37) + copy + qom::frame_head_bytes + qom::index_fixed_bytes + 24 * 36;
  const std::string bad_payload = offset(frame(12)) + ", " + std::to_string(end(12) - frame(12)) +
                                  " bytes, between 0:00:01.750 and 0:00:02.750: its checksum is";
  const std::string readable = "damaged, 1 problems, 37 records are readable";
  const std::string all = "38 records, 2 checkpoints";
  const std::string but_one = "37 records, 2 checkpoints";
  const std::string checkpoint_lost = "37 records, 1 checkpoints";
  const struct {
    const char *what;
    std::string bytes;
    std::string said;  // by verify; every line, as below
    std::string told;  // by repair
  } cases[] = {
      {"nothing", sound_, "good, finished, " + all, all + "\nnothing was lost"},
      {"garbage", sound_ + std::string(1000, 'g'), offset(sound_.size()) + ", 1000 bytes", all},
      {"a payload", flipped(payload(12)),
       bad_payload + "\n" + readable + "\n1 records of the index lie in damaged bytes", but_one},
      {"the text of a checkpoint, and its frame with it", flipped(payload(22)), offset(frame(22)),
       checkpoint_lost + "\n1 records that the index has in these bytes\n" +
           "1 checkpoints, whose other records"},
      {"a time in the index", forged(entry36 + 8, uint8_t{0xFF}), offset(frame(36)), all},
      {"a type in the index", forged(entry36 + 16, uint8_t{1}), offset(frame(36)), all},
      // Good checksums and contents that no writer would write.
      {"a wide block", forged(payload(12) + 4, uint16_t{0x7fff}), readable, but_one},
      {"a block without pixels", forged(payload(12) + 6, uint16_t{0}), readable, but_one},
      {"no zstd frame", forged(payload(17) + 12, 0), "37 records", checkpoint_lost},
      {"no zstd frame of blocks", forged(payload(13), 0), readable, but_one},
      {"a wild hot spot", forged(payload(18) + 8, uint16_t{3}), "37 records", checkpoint_lost},
      {"another pixel format", forged(payload(11) + 8, uint8_t{1}), readable, but_one},
      {"a long text", forged(payload(20), 1000), "37 records", checkpoint_lost},
  };
  for (const auto &[what, bytes, said, told] : cases) {
    SCOPED_TRACE(what);
    const Outcome verdict = verify(bytes);
    EXPECT_EQ(verdict.status, bytes != sound_);
    expect_lines(verdict.out, said);
    expect_lines(repair(bytes), told);
    if (told.find(all) == 0) {
      EXPECT_EQ(read_file(file("repaired")), sound_);
    }
  }
}

TEST_F(Damage, ATimeThatGoesBackIsToldAndRaised) {
  const std::string bytes = forged(frame(12) + kTimeAt, uint64_t{1}, end(37));
  const Outcome verdict = verify(bytes);
  EXPECT_EQ(verdict.status, 1);
  expect_lines(verdict.out, "the time goes back");
  repair(bytes);
  expect_lines(qom({"dump", "--from", "12", "--to", "12", file("repaired")}).out,
               "#12 0:00:01.750 ");
}

// Every frame once in its head and once in its last byte, the file head, and the index.
TEST_F(Damage, EveryFlippedByteIsFoundAndRepairable) {
  std::vector<size_t> places;
  for (size_t i = 0; i < entries_.size(); ++i) {
    places.push_back(frame(i) + places.size() % qom::frame_head_bytes);
    places.push_back(end(i) - 1);
  }
  for (size_t at = end(37); at < sound_.size(); at += 41) places.push_back(at);
  for (const size_t at : places) {
    SCOPED_TRACE("byte " + std::to_string(at) + " of " + std::to_string(sound_.size()));
    const Outcome verdict = verify(flipped(at));
    EXPECT_EQ(verdict.status, 1) << verdict.out;
    EXPECT_TRUE(contains(verdict.out, "offset ")) << verdict.out;
    const std::string told = repair(flipped(at));
    EXPECT_TRUE(contains(told, at < end(37) ? "37 records" : "38 records")) << told;
    EXPECT_TRUE(contains(told, "lost:")) << told;
  }
  // The file head, and its copy behind it.
  const size_t head = (frame(0) - qom::frame_head_bytes) / 2;
  for (size_t at = 0; at < frame(0); at += 7) {
    SCOPED_TRACE(at);
    const bool copied = at < head;
    const Outcome verdict = verify(flipped(at));
    EXPECT_EQ(verdict.status, 1);
    expect_lines(verdict.out, offset(copied ? 0 : head) + "\n1 problems, 38 records are readable");
    expect_lines(repair(flipped(at)),
                 copied ? "the file head was broken; a copy of it\nnothing was lost" : "lost:");
    EXPECT_EQ(read_file(file("repaired")), sound_);
    EXPECT_EQ(contains(qom({"info", file("damaged")}).out, "a copy of it stands in"), copied);
  }
}

#ifndef __SANITIZE_ADDRESS__
// The bytes in front and then so many zeros, as one zstd frame of a few KB.
forge::Bytes with_zeros(const forge::Bytes &front, uint32_t zeros, const forge::Bytes &back) {
  forge::Bytes frame;
  forge::append(&frame, uint32_t{ZSTD_MAGICNUMBER});
  forge::append(&frame, uint8_t{0xE0});  // states its size; one segment
  forge::append(&frame, uint64_t{front.size() + zeros + back.size()});
  const auto block = [&frame](size_t length, unsigned type, const forge::Bytes &bytes) {
    for (unsigned shift = 0, head = static_cast<unsigned>(length << 3) | type; shift < 24;
         shift += 8)
      frame.push_back(static_cast<uint8_t>(head >> shift));
    forge::append(&frame, bytes);
  };
  block(front.size(), 0, front);
  for (; zeros > 0; zeros -= std::min(zeros, 131072u)) block(std::min(zeros, 131072u), 2, {0});
  block(back.size(), 1, back);
  return frame;
}

// 256 MiB of pixels from a few KB, by way of packed bytes that take as much or an eighth of it.
TEST_F(Damage, ATinyFileTakesNoMoreMemoryThanOnePicture) {
  constexpr uint16_t width = 16384, height = 4095;
  constexpr uint32_t pixels = uint32_t{width} * height;
  forge::Bytes group;
  for (const uint16_t number : {uint16_t{3}, uint16_t{1}, uint16_t{0}, uint16_t{0}, width, height})
    forge::append(&group, number);
  forge::Bytes residuals(12);
  forge::put(&residuals, 0, pixels);
  forge::Bytes few = forge::Bytes(12);
  group[0] = 1;
  forge::append(&few, group);
  few.resize(few.size() + 4);
  group[0] = 3;
  for (const forge::Bytes &packed :
       {with_zeros(residuals, 4 * pixels, group), with_zeros(few, pixels / 2, {})}) {
    forge::Recording recording;
    recording.add(QOM_COMPRESSED_IMAGE_BLOCKS, packed, 0, 8 + 4 * pixels, qom::codec_zstd_packed);
    EXPECT_LT(recording.bytes.size(), 10'000u);
    write_file(file("tiny"), {recording.bytes.begin(), recording.bytes.end()});
    for (const Texts &command : {Texts{"verify"}, {"dump"}, {"dump", "--text"}}) {
      Texts arguments = command;
      arguments.push_back(file("tiny"));
      const Outcome outcome = qom(arguments);
      EXPECT_EQ(outcome.status, 0) << outcome.err;
      EXPECT_LT(outcome.memory, 300'000'000u) << command.back();
    }
  }
}
#endif

TEST_F(Damage, AListingCanBeCutShort) {
  std::string bytes = sound_;
  for (const size_t i : {3, 8, 20}) bytes[frame(i)] ^= 1;
  write_file(file("damaged"), bytes);
  const std::string out = qom({"verify", "--limit", "1", file("damaged")}).out;
  expect_lines(out, offset(frame(3)) + "\n more are not listed\n35 records are readable");
  EXPECT_FALSE(contains(out, offset(frame(8)))) << out;
}

TEST_F(Damage, ATornTailIsSaidAndIsNoDamage) {
  for (size_t length = frame(0); length <= end(37); length += 13) {
    SCOPED_TRACE(length);
    size_t whole = 0;
    while (whole < entries_.size() && end(whole) <= length) ++whole;
    const std::string records = std::to_string(whole) + " records";
    const Outcome verdict = verify(sound_.substr(0, length));
    EXPECT_EQ(verdict.status, 0) << verdict.out;
    EXPECT_TRUE(contains(verdict.out, "good, unfinished, " + records)) << verdict.out;
    EXPECT_TRUE(contains(repair(sound_.substr(0, length)), records));
    // The records that are there are those that were written.
    const std::string lines = qom({"dump", file("repaired")}).out;
    EXPECT_EQ(lines, lines_.substr(0, lines.size()));
  }
}

TEST_F(Damage, DumpTellsWhatItCannotReadAndGoesOn) {
  write_file(file("damaged"), flipped(payload(4) + 1));
  const Outcome lines = qom({"dump", file("damaged")});
  EXPECT_EQ(lines.status, 1);
  EXPECT_TRUE(contains(lines.out, "#4 ") && contains(lines.out, "not readable")) << lines.out;
  EXPECT_TRUE(contains(lines.out, "#37 "));
  EXPECT_TRUE(contains(lines.err, "record #4: ")) << lines.err;
  const Outcome text = qom({"dump", "--text", file("damaged")});
  EXPECT_EQ(text.status, 1);
  make("again", text.out);
  EXPECT_TRUE(contains(qom({"verify", file("again")}).out, "37 records, 2 checkpoints"));
}

// The file may not grow beyond every possible length: a disk that fills up at any point.
TEST_F(Damage, AFullDiskIsReportedAndWhatIsThereOpens) {
  for (uint64_t room = 0; room < sound_.size(); room += 97) {
    SCOPED_TRACE(room);
    unlink(file("out").c_str());
    EXPECT_EQ(qom({"make", "-", file("out")}, small_text(), room).status, 1);
    EXPECT_FALSE(exists(file("out"))) << "make keeps only what is whole";
    const Outcome outcome = qom({"repair", path, file("out")}, "", room);
    EXPECT_EQ(outcome.status, 1);
    if (!exists(file("out"))) continue;  // not even the head had room
    EXPECT_TRUE(outcome.err.empty() || contains(outcome.err, "File too large")) << outcome.err;
    const Outcome verdict = qom({"verify", file("out")});
    EXPECT_EQ(verdict.status, 0) << verdict.out;
    EXPECT_TRUE(contains(verdict.out, "unfinished")) << verdict.out;
  }
}

}  // namespace
}  // namespace qomtool
