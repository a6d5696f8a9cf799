// verify and repair on recordings that are not what was written.
#include <unistd.h>
#include <zstd.h>

#include <cstring>
#include <sstream>

#include "program.h"

namespace qomtool {
namespace {

class Damage : public ProgramTest {
 protected:
  void SetUp() override {
    make("recording", small_text());
    sound_ = read_file(path);
    entries_ = entries();
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
  std::vector<QomIndexEntry> entries_;
};

TEST_F(Damage, IsToldByVerifyAndRemovedByRepair) {
  constexpr size_t time_at = 8;                                // in a frame head
  const size_t head = (frame(0) - qom::frame_head_bytes) / 2;  // bytes of the file head
  const size_t copy = head + qom::frame_head_bytes;            // as a frame
  const size_t overview = end(37) + copy;
  uint64_t index;  // the position that the end mark has for it
  std::memcpy(&index, &sound_[sound_.size() - qom::end_mark_bytes + 8], sizeof index);
  const size_t entry36 = index + qom::frame_head_bytes + qom::index_fixed_bytes + 24 * 36;
  const std::string bad_payload = offset(frame(12)) + ", " + std::to_string(end(12) - frame(12)) +
                                  " bytes, between 0:00:01.750 and 0:00:02.750: its checksum is";
  const std::string readable = "damaged, 1 problem, 37 records are readable";
  const std::string all = "38 records, 2 checkpoints";
  const std::string but_one = "37 records, 2 checkpoints";
  const std::string checkpoint_lost = "37 records, 1 checkpoint";
  const struct {
    const char *what;
    std::string bytes;
    std::string said;  // by verify; every line, as below
    std::string told;  // by repair
  } cases[] = {
      {"nothing", sound_, "good, finished, " + all, all + "\nnothing was lost"},
      {"a torn tail", sound_.substr(0, end(12) + 5), "good, unfinished, 13 records",
       "13 records\n5 bytes of an incomplete record"},
      {"garbage", sound_ + std::string(1000, 'g'), offset(sound_.size()) + ", 1000 bytes", all},
      {"the file head", flipped(7), offset(0) + "\n1 problem, 38 records are readable",
       all + "\nthe file head was broken; a copy of it\nnothing was lost"},
      {"the copy of the head", flipped(head + 9), offset(head) + "\n1 problem, 38 records",
       all + "\nleft behind:"},
      {"the head of a frame", flipped(frame(30) + 3), offset(frame(30)), "37 records"},
      {"the index", flipped(entry36), offset(index), all + "\nleft behind:"},
      {"the overview", flipped(overview + 100), offset(overview), all + "\nleft behind:"},
      {"a lie of the overview", forged(overview + qom::frame_head_bytes + 24, uint8_t{0xFF}),
       offset(overview) + ", 0 bytes\nthe index, the overview or the end mark is wrong", all},
      {"a payload", flipped(payload(12)),
       bad_payload + "\n" + readable + "\n1 record of the index lies in damaged bytes", but_one},
      {"the text of a checkpoint, and its frame with it", flipped(payload(22)),
       offset(frame(22)) + "\nrecords of this checkpoint are missing",
       checkpoint_lost + "\n1 record that the index has in these bytes\n" +
           "1 checkpoint whose other records"},
      {"a time in the index", forged(entry36 + 8, uint8_t{0xFF}), offset(frame(36)), all},
      {"a type in the index", forged(entry36 + 16, uint8_t{1}), offset(frame(36)), all},
      {"a time that goes back", forged(frame(12) + time_at, uint64_t{1}, end(37)),
       "the time goes back", "38 records"},
      // Good checksums and contents that no writer would write.
      {"a wide block", forged(payload(12) + 4, uint16_t{0x7fff}), readable, but_one},
      {"no zstd frame", forged(payload(17) + 12, 0), "37 records", checkpoint_lost},
      {"no zstd frame of blocks", forged(payload(13), 0), readable, but_one},
  };
  for (const auto &[what, bytes, said, told] : cases) {
    SCOPED_TRACE(what);
    write_file(file("damaged"), bytes);
    const Outcome verdict = qom({"verify", file("damaged")});
    EXPECT_EQ(verdict.status, !contains(said, "good"));
    expect_lines(verdict.out, said);
    EXPECT_EQ(contains(qom({"info", file("damaged")}).out, "a copy of it stands in"),
              bytes == flipped(7));
    unlink(file("repaired").c_str());
    const Outcome repaired = qom({"repair", file("damaged"), file("repaired")});
    EXPECT_EQ(repaired.status, 0) << repaired.err;
    expect_lines(repaired.out, told);
    expect_lines(qom({"verify", file("repaired")}).out, "good, finished");
    EXPECT_TRUE(told.find(all) != 0 || read_file(file("repaired")) == sound_);
  }
}

#ifndef __SANITIZE_ADDRESS__
Bytes zstd_frame(const Bytes &front, size_t zeros, const Bytes &back) {
  Bytes plain = front;
  plain.resize(plain.size() + zeros);
  forge::append(&plain, back);
  Bytes frame(ZSTD_compressBound(plain.size()));
  const size_t size = ZSTD_compress(frame.data(), frame.size(), plain.data(), plain.size(), 1);
  return {frame.begin(), frame.begin() + static_cast<ptrdiff_t>(size)};
}

// 256 MiB of pixels from a few KB, by way of packed bytes that take as much or an eighth of it.
TEST_F(Damage, ATinyFileTakesNoMoreMemoryThanOnePicture) {
  constexpr uint16_t width = 16384, height = 4095;
  constexpr uint32_t pixels = uint32_t{width} * height;
  Bytes group;
  for (const uint16_t number : {uint16_t{3}, uint16_t{1}, uint16_t{0}, uint16_t{0}, width, height})
    forge::append(&group, number);
  Bytes residuals(12);
  forge::put(&residuals, 0, pixels);
  Bytes few(12);
  forge::append(&few, Bytes{1} + Bytes(group.begin() + 1, group.end()) + Bytes(4));
  for (const Bytes &packed :
       {zstd_frame(residuals, size_t{4} * pixels, group), zstd_frame(few, pixels / 2, {})}) {
    forge::Recording recording;
    recording.add(QOM_COMPRESSED_IMAGE_BLOCKS, packed, 0, 8 + 4 * pixels, qom::codec_zstd_packed);
    EXPECT_LT(recording.bytes.size(), 100'000u);
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

TEST_F(Damage, ThatCannotBeReadIsToldByDumpWhichGoesOn) {
  std::string bytes = sound_;
  for (const size_t i : {3, 8, 20}) bytes[frame(i)] ^= 1;
  write_file(file("damaged"), bytes);
  const std::string out = qom({"verify", "--limit", "1", file("damaged")}).out;
  expect_lines(out, offset(frame(3)) + "\n more are not listed\n35 records are readable");
  EXPECT_FALSE(contains(out, offset(frame(8)))) << out;

  write_file(file("damaged"), flipped(payload(4) + 1));
  const Outcome lines = qom({"dump", file("damaged")});
  EXPECT_EQ(lines.status, 1);
  expect_lines(lines.out, "#4 \nnot readable\n#37 ");
  EXPECT_TRUE(contains(lines.err, "record #4: ")) << lines.err;
  const Outcome text = qom({"dump", "--text", file("damaged")});
  EXPECT_EQ(text.status, 1);
  make("again", text.out);
  EXPECT_TRUE(contains(qom({"verify", file("again")}).out, "37 records, 2 checkpoints"));
  write_file(file("damaged"), forged(payload(12) + 4, uint16_t{0x7fff}));
  EXPECT_EQ(qom({"dump", "--text", file("damaged")}).status, 1) << "a wide block";
}

// A disk that fills up at many points.
TEST_F(Damage, AFullDiskIsReportedAndWhatIsThereOpens) {
  for (uint64_t room = 0; room < sound_.size(); room += 297) {
    SCOPED_TRACE(room);
    unlink(file("out").c_str());
    EXPECT_EQ(qom({"make", "-", file("out")}, small_text(), room).status, 1);
    EXPECT_NE(access(file("out").c_str(), F_OK), 0) << "make keeps only what is whole";
    EXPECT_EQ(qom({"repair", path, file("out")}, "", room).status, 1);
    if (access(file("out").c_str(), F_OK) != 0) continue;  // not even the head had room
    const Outcome verdict = qom({"verify", file("out")});
    EXPECT_EQ(verdict.status, 0) << verdict.out;
    EXPECT_TRUE(contains(verdict.out, "unfinished")) << verdict.out;
  }
}

}  // namespace
}  // namespace qomtool
