// What is opened, what is not, and the reasons.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>

#include "fixture.h"

namespace {

class Open : public RecordingTest {
 protected:
  // The reason why a file with this header payload does not open.
  std::string header_refusal(const Bytes &payload) {
    put(forge::Recording(payload).bytes);
    return refusal(0);
  }

  template <typename T>
  static Bytes header_with(size_t at, T value) {
    Bytes payload = forge::header_payload();
    forge::put(&payload, at, value);
    return payload;
  }
};

TEST_F(Open, OnlyRegularFilesAreOpened) {
  EXPECT_EQ(refusal(ENOENT), "cannot open the file: No such file or directory");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(refusal(0), "not a regular file");
  path = folder;
  EXPECT_EQ(refusal(EISDIR), "cannot open the file: Is a directory");
  path = "/dev/zero";
  EXPECT_EQ(refusal(0), "not a regular file");
}

TEST_F(Open, AFileThatIsNoRecording) {
  put({});
  EXPECT_EQ(refusal(0), "not a recording: too short");
  put(Bytes(500, 'x'));
  EXPECT_EQ(refusal(0), "not a recording: it does not begin like one");
  forge::Recording recording;
  Bytes text_mode = recording.bytes;
  text_mode.erase(text_mode.begin() + 4);  // CR LF became LF
  put(text_mode);
  EXPECT_EQ(refusal(0), "not a recording: it does not begin like one");
  recording.bytes[8] = 2;
  put(recording.bytes);
  EXPECT_EQ(refusal(0), "a recording of format version 2.0; this program reads version 1");
}

TEST_F(Open, HeadersThatBreakARule) {
  EXPECT_EQ(header_refusal(header_with(10, uint8_t{0})), "an unknown pixel format");
  EXPECT_EQ(header_refusal(header_with(10, uint8_t{14})), "an unknown pixel format");
  EXPECT_EQ(header_refusal(header_with(8, uint8_t{0})), "a depth of 0 bits for xRGB8888");
  EXPECT_EQ(header_refusal(header_with(8, uint8_t{33})), "a depth of 33 bits for xRGB8888");
  EXPECT_EQ(header_refusal(header_with(9, uint8_t{24})),
            "a scanline padding of 24 bits (0, 8, 16 or 32 are allowed)");
  EXPECT_EQ(header_refusal(header_with(16, uint16_t{0})), "a screen of 0x48 pixels is not allowed");
  EXPECT_EQ(header_refusal(header_with(18, uint16_t{16385})),
            "a screen of 64x16385 pixels is not allowed");
  EXPECT_EQ(header_refusal(header_with(16, uint32_t{0x40004000})),  // 1 GiB of pixels
            "a screen of 16384x16384 pixels is not allowed");
  EXPECT_EQ(header_refusal(header_with(0, QOM_MAX_TIME + 1)), "a start time that is too large");
  EXPECT_EQ(header_refusal(header_with(14, uint16_t{2})), "a header that is cut off");
  EXPECT_EQ(header_refusal(header_with(24, uint32_t{5})), "a text that is longer than its record");
  EXPECT_EQ(header_refusal(Bytes(19)), "a header that is cut off");
  EXPECT_EQ(header_refusal({}), "a header that is cut off");

  forge::Recording recording;
  forge::put(&recording.bytes, 12, uint32_t{0xFFFFFFF0});
  put(recording.bytes);
  EXPECT_EQ(refusal(0), "a recording whose header is cut off");
  forge::put(&recording.bytes, 12, uint32_t{1000});
  put(recording.bytes);
  EXPECT_EQ(refusal(0), "a recording whose header is cut off");
  forge::Recording long_header(Bytes(qom::max_header_bytes + 1));
  put(long_header.bytes);
  EXPECT_EQ(refusal(0), "a recording whose header is cut off");
}

TEST_F(Open, HeaderFieldsOfLaterVersionsAreIgnored) {
  Bytes payload = forge::header_payload();
  forge::append(&payload, Bytes(100, 0xFF));
  put(forge::Recording(payload, 300).bytes);
  EXPECT_EQ(info().minor_version, 255);
  EXPECT_EQ(qom_info_header(open().get())->width, 64);
}

}  // namespace
