#include "raw_film.h"

namespace qomtool {
namespace {

// Elements of Matroska by their identifiers.
enum Id : uint32_t {
  kHead = 0x1a45dfa3,
  kDocType = 0x4282,
  kDocTypeVersion = 0x4287,
  kDocTypeReadVersion = 0x4285,
  kSegment = 0x18538067,
  kInfo = 0x1549a966,
  kTimestampScale = 0x2ad7b1,
  kTracks = 0x1654ae6b,
  kTrackEntry = 0xae,
  kTrackNumber = 0xd7,
  kTrackUid = 0x73c5,
  kTrackType = 0x83,
  kFlagLacing = 0x9c,
  kDefaultDuration = 0x23e383,
  kCodecId = 0x86,
  kVideo = 0xe0,
  kPixelWidth = 0xb0,
  kPixelHeight = 0xba,
  kColourSpace = 0x2eb524,
  kCluster = 0x1f43b675,
  kTimestamp = 0xe7,
  kSimpleBlock = 0xa3,
};

constexpr uint64_t kMillisecond = 1'000'000;  // nanoseconds
constexpr uint64_t kOfVideo = 1;

std::string big_endian(uint64_t number, int bytes) {
  std::string out;
  for (int i = bytes; i-- > 0;) out += static_cast<char>(number >> (8 * i));
  return out;
}

// An identifier has its length in its first bits.
std::string identifier(Id id) {
  const int bytes = id > 0xffffff ? 4 : id > 0xffff ? 3 : id > 0xff ? 2 : 1;
  return big_endian(id, bytes);
}

// So has a length, which takes eight bytes here.
std::string length(uint64_t bytes) {
  return big_endian(uint64_t{1} << 56 | bytes, 8);
}

std::string element(Id id, const std::string &content) {
  return identifier(id) + length(content.size()) + content;
}

std::string number(Id id, uint64_t value) {
  return element(id, big_endian(value, 8));
}

// The codes of pixel formats that programs for films share.
std::string code_of(RawPixels pixels) {
  return pixels == RawPixels::rgb ? std::string("RGB\x18") : std::string("I420");
}

}  // namespace

std::string raw_film_head(PictureSize size, RawPixels pixels, uint64_t duration) {
  const std::string video = number(kPixelWidth, size.width) + number(kPixelHeight, size.height) +
                            element(kColourSpace, code_of(pixels));
  const std::string track = number(kTrackNumber, 1) + number(kTrackUid, 1) +
                            number(kTrackType, kOfVideo) + number(kFlagLacing, 0) +
                            number(kDefaultDuration, duration) +
                            element(kCodecId, "V_UNCOMPRESSED") + element(kVideo, video);
  return element(kHead, element(kDocType, "matroska") + number(kDocTypeVersion, 4) +
                            number(kDocTypeReadVersion, 2)) +
         identifier(kSegment) + big_endian(~uint64_t{0} >> 7, 8) +  // of unknown length
         element(kInfo, number(kTimestampScale, kMillisecond)) +
         element(kTracks, element(kTrackEntry, track));
}

// A cluster with one picture.
std::string raw_picture_head(uint64_t time, uint64_t bytes) {
  const std::string timestamp = number(kTimestamp, time);
  const std::string block("\x81\0\0\x80", 4);  // track 1, no time of its own, a picture for itself
  const std::string block_head = identifier(kSimpleBlock) + length(block.size() + bytes) + block;
  return identifier(kCluster) + length(timestamp.size() + block_head.size() + bytes) + timestamp +
         block_head;
}

}  // namespace qomtool
