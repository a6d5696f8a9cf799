#include "file/format.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "base/bytes.h"
#include "base/checksum.h"

namespace qom {
namespace {

constexpr uint32_t checked_bytes = frame_head_bytes - sizeof(uint32_t);

uint32_t head_crc(const uint8_t *bytes, uint32_t salt) {
  return Crc32c().add(&salt, sizeof salt).add(bytes, checked_bytes).value();
}

}  // namespace

void encode_frame_head(const FrameHead &head, uint32_t salt, uint8_t bytes[frame_head_bytes]) {
  std::memcpy(bytes, sync_word, sizeof sync_word);
  ByteWriter(bytes + sizeof sync_word)
      .put(head.type)
      .put(head.codec)
      .put(uint16_t{0})
      .put(head.timestamp)
      .put(head.stored_length)
      .put(head.raw_length)
      .put(head.payload_crc);
  ByteWriter(bytes + checked_bytes).put(head_crc(bytes, salt));
}

bool decode_frame_head(const uint8_t bytes[frame_head_bytes], uint32_t salt, FrameHead *head) {
  if (std::memcmp(bytes, sync_word, sizeof sync_word) != 0) return false;
  ByteReader cursor(bytes + sizeof sync_word, frame_head_bytes - sizeof sync_word);
  head->type = cursor.get<uint8_t>();
  head->codec = cursor.get<uint8_t>();
  cursor.get<uint16_t>();
  head->timestamp = cursor.get<uint64_t>();
  head->stored_length = cursor.get<uint32_t>();
  head->raw_length = cursor.get<uint32_t>();
  head->payload_crc = cursor.get<uint32_t>();
  return cursor.get<uint32_t>() == head_crc(bytes, salt);
}

uint16_t encode_area(uint64_t pixels) {
  constexpr uint64_t implied = 2048;  // the leading bit, which is not stored
  constexpr uint64_t most = (2 * implied - 1) << 30;
  pixels = std::min(pixels, most);
  if (pixels < implied) return static_cast<uint16_t>(pixels);
  const auto shift = static_cast<unsigned>(std::bit_width(pixels / implied)) - 1;
  return static_cast<uint16_t>((shift + 1) * implied + (pixels >> shift) - implied);
}

uint64_t decode_area(uint16_t area) {
  const unsigned exponent = area >> 11;
  const uint64_t fraction = area & 2047;
  return exponent == 0 ? fraction : (2048 + fraction) << (exponent - 1);
}

uint16_t area_of(const FrameHead &head, uint32_t pixel_bytes) {
  return draws(head.type) && pixel_bytes > 0 ? encode_area(head.raw_length / pixel_bytes) : 0;
}

}  // namespace qom
