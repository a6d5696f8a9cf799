#include "file/gaps.h"

#include <cerrno>
#include <cstring>

#include "base/checksum.h"
#include "base/error.h"

namespace qom {
namespace {

constexpr size_t mark_bytes = frame_head_bytes + gap_bytes;

// Looks for marks between two frames of records.
class Search {
 public:
  Search(const Source &source, Window *window, uint32_t salt, Array<QomGap> *gaps)
      : source_(source), window_(window), salt_(salt), gaps_(gaps) {}

  // The bytes [from, to), with so many records before them.
  bool look(uint64_t from, uint64_t to, size_t records);

 private:
  bool look_across_damage(uint64_t from, uint64_t to, size_t records);
  bool add(const FrameHead &head, const uint8_t payload[gap_bytes], size_t records);

  const Source &source_;
  Window *window_;
  uint32_t salt_;
  Array<QomGap> *gaps_;
};

bool Search::look(uint64_t from, uint64_t to, size_t records) {
  while (to - from >= mark_bytes) {
    uint8_t bytes[mark_bytes];
    if (!source_.read(from, bytes, sizeof bytes)) return false;
    Frame frame;
    frame.position = from;
    if (!decode_frame_head(bytes, salt_, &frame.head) || frame.length() > to - from)
      return look_across_damage(from, to, records);
    if (!add(frame.head, bytes + frame_head_bytes, records)) return false;
    from = frame.end();
  }
  return true;
}

bool Search::look_across_damage(uint64_t from, uint64_t to, size_t records) {
  FrameWalker walker(window_, salt_, from, to);
  for (;;) {
    const FrameWalker::Found found = walker.next();
    if (found == FrameWalker::Found::end) return true;
    if (found == FrameWalker::Found::failed) return false;
    if (found != FrameWalker::Found::frame || walker.frame().length() < mark_bytes) continue;
    const uint8_t *payload = window_->at(walker.frame().position + frame_head_bytes, gap_bytes);
    if (!payload || !add(walker.frame().head, payload, records)) return false;
  }
}

bool Search::add(const FrameHead &head, const uint8_t payload[gap_bytes], size_t records) {
  QomGap gap;
  if (head.type != frame_gap || !decode_gap(head, payload, &gap) ||
      head.payload_crc != crc32c(payload, gap_bytes))
    return true;
  gap.record = records;
  if (gaps_->push(gap)) return true;
  errno = ENOMEM;
  set_error("out of memory for the stretches that were not recorded");
  return false;
}

}  // namespace

bool is_gap(const QomGap &gap) {
  constexpr auto most = static_cast<int64_t>(QOM_MAX_TIME);
  return gap.begin <= gap.end && gap.end <= QOM_MAX_TIME && gap.clock_offset >= -most &&
         gap.clock_offset <= most && gap.reason > 0;
}

bool decode_gap(const FrameHead &head, const uint8_t payload[gap_bytes], QomGap *gap) {
  if (head.stored_length != gap_bytes) return false;
  GapMark mark;
  std::memcpy(&mark, payload, sizeof mark);
  *gap = {mark.begin, mark.end, mark.clock_offset, mark.reason, 0};
  return is_gap(*gap);
}

bool find_gaps(const Source &source, Window *window, const FrameSpace &space, const Index &index,
               Array<QomGap> *gaps) {
  Search search(source, window, space.salt, gaps);
  uint64_t end = space.first_frame;
  size_t records = 0;
  for (const QomIndexEntry &entry : index.entries) {
    if (!search.look(end, static_cast<uint64_t>(entry.position), records)) return false;
    end = static_cast<uint64_t>(entry.position) + frame_head_bytes + entry.length;
    ++records;
  }
  return search.look(end, index.info.file_size, records);
}

}  // namespace qom
