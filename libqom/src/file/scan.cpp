#include "file/scan.h"

#include <algorithm>
#include <cstring>

#include "base/checksum.h"

namespace qom {

FrameWalker::Found FrameWalker::next() {
  frame_.position = position_;
  const uint64_t left = limit_ - position_;
  if (left == 0) return Found::end;
  if (left < frame_head_bytes) return classify_tail();
  const uint8_t *bytes = window_->at(position_, frame_head_bytes);
  if (!bytes) return Found::failed;
  if (!decode_frame_head(bytes, salt_, &frame_.head)) return resynchronise();
  if (frame_.length() > left) return gap_until(limit_, Found::torn);
  position_ = frame_.end();
  return Found::frame;
}

FrameWalker::Found FrameWalker::gap_until(uint64_t position, Found kind) {
  gap_ = position - position_;
  position_ = position;
  return kind;
}

FrameWalker::Found FrameWalker::resynchronise() {
  bool failed;
  for (uint64_t at = position_ + 1; find_sync(window_, frame_head_bytes, &at, limit_, &failed);
       ++at) {
    const uint8_t *bytes = window_->at(at, frame_head_bytes);
    if (!bytes) return Found::failed;
    FrameHead head;
    if (decode_frame_head(bytes, salt_, &head)) return gap_until(at, Found::damage);
  }
  return failed ? Found::failed : classify_tail();
}

// The bytes up to the limit hold no good head. A writer that was cut off leaves the start of a
// head; a machine that lost power may leave zeros.
FrameWalker::Found FrameWalker::classify_tail() {
  const size_t left = static_cast<size_t>(std::min<uint64_t>(limit_ - position_, frame_head_bytes));
  const uint8_t *bytes = window_->at(position_, left);
  if (!bytes) return Found::failed;
  if (left < frame_head_bytes &&
      std::memcmp(bytes, sync_word, std::min(left, sizeof sync_word)) == 0)
    return gap_until(limit_, Found::torn);
  for (uint64_t at = position_; at < limit_;) {
    bytes = window_->at(at, 1);
    if (!bytes) return Found::failed;
    const size_t length =
        static_cast<size_t>(std::min<uint64_t>(window_->available(at), limit_ - at));
    if (std::any_of(bytes, bytes + length, [](uint8_t byte) { return byte != 0; }))
      return gap_until(limit_, Found::damage);
    at += length;
  }
  return gap_until(limit_, Found::torn);
}

bool find_sync(Window *window, size_t room, uint64_t *at, uint64_t limit, bool *failed) {
  *failed = false;
  while (*at < limit && limit - *at >= room) {
    const uint8_t *bytes = window->at(*at, room);
    if (!bytes) {
      *failed = true;
      return false;
    }
    const size_t length =
        static_cast<size_t>(std::min<uint64_t>(window->available(*at), limit - *at));
    auto sync = static_cast<const uint8_t *>(memmem(bytes, length, sync_word, sizeof sync_word));
    *at += sync ? static_cast<size_t>(sync - bytes) : length - (sizeof sync_word - 1);
    if (sync) return limit - *at >= room;
  }
  return false;
}

bool find_last_head(Window *window, uint32_t salt, uint8_t type, uint64_t from, uint64_t limit,
                    Frame *found, bool *failed) {
  *failed = false;
  if (limit < from || limit - from < frame_head_bytes) return false;
  // Stretches overlap by a head, so that each head lies whole in one of them.
  constexpr uint64_t stretch = Window::capacity - frame_head_bytes;
  uint64_t end = limit - frame_head_bytes + 1;  // heads begin before this
  while (end > from) {
    const uint64_t start = end - from > stretch ? end - stretch : from;
    const uint8_t *bytes =
        window->at(start, static_cast<size_t>(end - start) + frame_head_bytes - 1);
    if (!bytes) {
      *failed = true;
      return false;
    }
    for (uint64_t i = end - start; i-- > 0;) {
      if (bytes[i] != sync_word[0] || !decode_frame_head(bytes + i, salt, &found->head) ||
          found->head.type != type)
        continue;
      found->position = start + i;
      return true;
    }
    end = start;
  }
  return false;
}

bool payload_is_good(Window *window, const Frame &frame, bool *failed) {
  *failed = false;
  Crc32c crc;
  uint64_t at = frame.position + frame_head_bytes;
  while (at < frame.end()) {
    const uint8_t *bytes = window->at(at, 1);
    if (!bytes) {
      *failed = true;
      return false;
    }
    const size_t length =
        static_cast<size_t>(std::min<uint64_t>(window->available(at), frame.end() - at));
    crc.add(bytes, length);
    at += length;
  }
  return crc.value() == frame.head.payload_crc;
}

}  // namespace qom
