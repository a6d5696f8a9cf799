#include "file/marks.h"

#include <cerrno>
#include <cstring>

#include "base/checksum.h"
#include "base/error.h"

namespace qom {
namespace {

// Marks of both kinds are of the same length.
constexpr size_t payload_bytes = gap_bytes;
constexpr size_t mark_bytes = frame_head_bytes + payload_bytes;
static_assert(film_area_bytes == payload_bytes);

// Looks for marks between two frames of records.
class Search {
 public:
  Search(const Source &source, Window *window, uint32_t salt, Marks *marks)
      : source_(source), window_(window), salt_(salt), marks_(marks) {}

  // The bytes [from, to), with so many records before them.
  bool look(uint64_t from, uint64_t to, size_t records);

 private:
  bool look_across_damage(uint64_t from, uint64_t to, size_t records);
  bool add(const FrameHead &head, const uint8_t payload[payload_bytes], size_t records);

  const Source &source_;
  Window *window_;
  uint32_t salt_;
  Marks *marks_;
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
    const uint8_t *payload = window_->at(walker.frame().position + frame_head_bytes, payload_bytes);
    if (!payload || !add(walker.frame().head, payload, records)) return false;
  }
}

bool Search::add(const FrameHead &head, const uint8_t payload[payload_bytes], size_t records) {
  QomGap gap;
  QomFilmArea film;
  const bool is_gap = head.type == frame_gap && decode_gap(head, payload, &gap);
  const bool is_film = head.type == frame_film_area && decode_film_area(head, payload, &film);
  if (!(is_gap || is_film) || head.payload_crc != crc32c(payload, payload_bytes)) return true;
  gap.record = film.record = records;
  if (is_gap ? marks_->gaps.push(gap) : marks_->film.push(film)) return true;
  errno = ENOMEM;
  set_error("out of memory for the marks of what was not recorded");
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

bool is_film_area(const QomFilmArea &film) {
  return film.begin <= film.end && film.end <= QOM_MAX_TIME && film.width > 0 && film.height > 0 &&
         film.x + film.width <= int{QOM_MAX_SIDE} && film.y + film.height <= int{QOM_MAX_SIDE} &&
         film.quality <= 100;
}

bool decode_film_area(const FrameHead &head, const uint8_t payload[film_area_bytes],
                      QomFilmArea *film) {
  if (head.stored_length != film_area_bytes) return false;
  FilmAreaMark mark;
  std::memcpy(&mark, payload, sizeof mark);
  *film = {mark.begin,  mark.end,  mark.x,       mark.y, mark.width,
           mark.height, mark.rate, mark.quality, 0};
  return is_film_area(*film);
}

bool find_marks(const Source &source, Window *window, const FrameSpace &space, const Index &index,
                Marks *marks) {
  Search search(source, window, space.salt, marks);
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
