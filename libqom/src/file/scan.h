// Walking over the frames of a file without its index, across damage.
#pragma once

#include <cstdint>

#include "file/format.h"
#include "file/source.h"

namespace qom {

// Where the frames begin, and what is the same for all of them.
struct FrameSpace {
  uint32_t salt;         // what their checksums start from
  uint64_t first_frame;  // bytes from the start of the file
  uint64_t start_time;   // of the recording, microseconds
  uint32_t pixel_bytes;  // of one pixel of its images; 0 where entries of the index hold no areas
};

struct Frame {
  uint64_t position = 0;  // bytes from the start of the file
  FrameHead head;

  uint64_t length() const { return uint64_t{frame_head_bytes} + head.stored_length; }
  uint64_t end() const { return position + length(); }
};

// Goes from one good frame head to the next. Payloads are not looked at.
class FrameWalker {
 public:
  enum class Found {
    frame,   // frame() is a frame that lies whole before the limit
    damage,  // gap() bytes at gap_position() belong to no good frame
    torn,    // the same at the end of the file, and they can be the start of one
    end,
    failed  // the file could not be read; the reason is stored
  };

  // Walks over [from, limit); the window may be shared with other users between calls.
  FrameWalker(Window *window, uint32_t salt, uint64_t from, uint64_t limit)
      : window_(window), salt_(salt), position_(from), limit_(limit) {}

  Found next();

  const Frame &frame() const { return frame_; }
  uint64_t gap_position() const { return frame_.position; }
  uint64_t gap() const { return gap_; }

 private:
  Found gap_until(uint64_t position, Found kind);
  Found resynchronise();
  Found classify_tail();

  Window *window_;
  uint32_t salt_;
  uint64_t position_;
  uint64_t limit_;
  Frame frame_;
  uint64_t gap_ = 0;
};

// Moves *at to the next sync word in [*at, limit) that has `room` bytes, 1 to Window::capacity, in
// front of the limit, counted from the sync word on. False when there is none (*at is then behind
// the last place where one could be), or when the file could not be read (*failed is set).
bool find_sync(Window *window, size_t room, uint64_t *at, uint64_t limit, bool *failed);

// Position of the last sync word with a good head of the type in [from, limit); false when
// there is none (*found is 0 then) or the file could not be read (*failed is set).
bool find_last_head(Window *window, uint32_t salt, uint8_t type, uint64_t from, uint64_t limit,
                    Frame *found, bool *failed);

// Whether the payload of a frame has the checksum of its head. *failed is set when it could not
// be read.
bool payload_is_good(Window *window, const Frame &frame, bool *failed);

}  // namespace qom
