#include "file/origins.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/bytes.h"
#include "base/error.h"

namespace qom {
namespace {

constexpr int32_t largest_place = 65536;  // pixels, right and bottom border of a mask
constexpr uint32_t flag_untrusted = 1;
constexpr uint32_t flag_sha256 = 2;
constexpr uint32_t max_payload =
    origin_fixed_bytes + QOM_MAX_MASKS * sizeof(QomRectangle) + sizeof(uint32_t) + QOM_MAX_NAME;
static_assert(max_payload <= Window::capacity);
static_assert(sizeof(QomRectangle) == 16, "masks are used as they lie in the file");

bool is_mask(const QomRectangle &mask) {
  return mask.x >= 0 && mask.y >= 0 && mask.width > 0 && mask.height > 0 &&
         mask.x < largest_place && mask.y < largest_place && mask.width <= largest_place - mask.x &&
         mask.height <= largest_place - mask.y;
}

// The origin in a payload, into which it points and which has a byte more than `length`. False
// when it breaks a rule.
bool decode_origin(uint8_t *payload, size_t length, QomOrigin *origin) {
  ByteReader bytes(payload, length);
  *origin = {};
  origin->begin = bytes.get<uint64_t>();
  origin->end = bytes.get<uint64_t>();
  origin->start = bytes.get<uint64_t>();
  origin->size = bytes.get<uint64_t>();
  origin->lost = bytes.get<uint64_t>();
  if (const uint8_t *hash = bytes.take(sizeof origin->sha256))
    std::memcpy(origin->sha256, hash, sizeof origin->sha256);
  const auto flags = bytes.get<uint32_t>();
  origin->untrusted = (flags & flag_untrusted) != 0;
  origin->has_sha256 = (flags & flag_sha256) != 0;
  origin->mask_count = bytes.get<uint32_t>();
  if (origin->mask_count > QOM_MAX_MASKS) return false;
  const uint8_t *masks = bytes.take(origin->mask_count * sizeof(QomRectangle));
  if (origin->mask_count > 0)
    origin->masks = reinterpret_cast<QomRectangle *>(const_cast<uint8_t *>(masks));
  const auto name_length = bytes.get<uint32_t>();
  if (name_length != absent_text) {
    const uint8_t *name = bytes.take(name_length);
    if (!bytes.ok() || std::memchr(name, 0, name_length)) return false;
    origin->name = reinterpret_cast<char *>(const_cast<uint8_t *>(name));
    origin->name[name_length] = 0;
  }
  return bytes.ok() && bytes.left() == 0 && is_origin(*origin);
}

}  // namespace

bool is_origin(const QomOrigin &origin) {
  return origin.begin <= origin.end && origin.end <= QOM_MAX_TIME && origin.start <= QOM_MAX_TIME &&
         origin.mask_count <= QOM_MAX_MASKS && (origin.mask_count == 0 || origin.masks) &&
         std::all_of(origin.masks, origin.masks + origin.mask_count, is_mask) &&
         (!origin.name || std::strlen(origin.name) <= QOM_MAX_NAME);
}

bool encode_origin(const QomOrigin &origin, Array<uint8_t> *payload) {
  const size_t masks = origin.mask_count * sizeof(QomRectangle);
  const size_t name = origin.name ? std::strlen(origin.name) : 0;
  if (!payload->resize(origin_fixed_bytes + masks + sizeof(uint32_t) + name)) return false;
  static constexpr uint8_t no_hash[sizeof origin.sha256] = {};
  ByteWriter(payload->data())
      .put(origin.begin)
      .put(origin.end)
      .put(origin.start)
      .put(origin.size)
      .put(origin.lost)
      .put_bytes(origin.has_sha256 ? origin.sha256 : no_hash, sizeof origin.sha256)
      .put(
          uint32_t{(origin.untrusted ? flag_untrusted : 0) | (origin.has_sha256 ? flag_sha256 : 0)})
      .put(static_cast<uint32_t>(origin.mask_count))
      .put_bytes(origin.masks, masks)
      .put(origin.name ? static_cast<uint32_t>(name) : absent_text)
      .put_bytes(origin.name, name);
  return true;
}

void Origins::clear() {
  for (uint8_t *payload : payloads_) std::free(payload);
  payloads_.clear();
  all_.clear();
}

bool Origins::find(Window *window, uint32_t salt, uint64_t from, uint64_t limit) {
  clear();
  FrameWalker walker(window, salt, from, limit);
  for (;;) {
    const FrameWalker::Found found = walker.next();
    if (found == FrameWalker::Found::end) return true;
    if (found == FrameWalker::Found::failed) return false;
    if (found != FrameWalker::Found::frame) continue;
    const uint8_t type = walker.frame().head.type;
    if (type == frame_index_part || type == frame_end_mark) return true;
    if (type == frame_origin && !add(window, walker.frame())) return false;
  }
}

bool Origins::add(Window *window, const Frame &frame) {
  const size_t length = frame.head.stored_length;
  if (length > max_payload) return true;
  bool failed;
  if (!payload_is_good(window, frame, &failed)) return !failed;
  const uint8_t *bytes = window->at(frame.position + frame_head_bytes, length);
  if (!bytes) return false;
  auto *payload = static_cast<uint8_t *>(std::malloc(length + 1));
  if (payload) std::memcpy(payload, bytes, length);
  QomOrigin origin;
  if (payload && !decode_origin(payload, length, &origin)) {
    std::free(payload);
    return true;
  }
  if (payload && payloads_.push(payload)) {
    if (all_.push(origin)) return true;
    payload = payloads_.back();
    payloads_.truncate(payloads_.size() - 1);
  }
  std::free(payload);
  errno = ENOMEM;
  set_error("out of memory for what the recording was cut out of");
  return false;
}

}  // namespace qom
