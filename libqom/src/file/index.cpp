#include "file/index.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/checksum.h"
#include "base/error.h"
#include "file/format.h"
#include "file/payload.h"
#include "file/scan.h"

namespace qom {

Outcome out_of_memory(const char *what) {
  errno = ENOMEM;
  set_error("out of memory for %s", what);
  return Outcome::failed;
}

namespace {

// Blocks from which a broken chain is tried before all frames are walked over.
constexpr int chain_attempts = 3;

class Loader {
 public:
  Loader(const Source &source, Window *window, const FrameSpace &space, Index *index)
      : source_(source), window_(window), space_(space), index_(index) {}

  Outcome load(IndexSource from);

 private:
  Outcome load_from_end_mark();
  Outcome load_from_chain();
  Outcome load_by_walk();
  void reset();

  bool fetch(uint64_t position, void *data, size_t length);
  Outcome read_index_frame(const Frame &frame, const IndexHead &head, QomIndexEntry *entries);
  Outcome read_index_head(uint64_t position, uint8_t type, Frame *frame, IndexHead *head);
  Outcome read_chain(Frame block, IndexHead head);
  Outcome walk(uint64_t from);
  Outcome add_frame(const Frame &frame);
  Outcome add_record(const Frame &frame);
  Outcome add_checkpoint(const Frame &frame);
  void note_damage(uint64_t position, uint64_t length);
  bool check_entries(uint64_t limit);
  bool resolve_checkpoints();
  bool resolve(const CheckpointSpan &span, Checkpoint *checkpoint) const;

  const Source &source_;
  Window *window_;
  const FrameSpace &space_;
  Index *index_;
  Array<CheckpointSpan> spans_;
  uint64_t end_mark_at_ = 0;  // position of an end mark that a walk met
};

Outcome Loader::load(IndexSource from) {
  Outcome outcome = from == IndexSource::end_mark ? load_from_end_mark() : Outcome::bad;
  const bool finished = outcome == Outcome::good;
  if (outcome == Outcome::bad && from != IndexSource::walk) outcome = load_from_chain();
  if (outcome == Outcome::bad) outcome = load_by_walk();
  if (outcome != Outcome::good) return outcome;
  // A closed recording whose own index does not hold is not what the writer left.
  if (from == IndexSource::end_mark && !finished && end_mark_at_ > 0) note_damage(end_mark_at_, 0);
  return resolve_checkpoints() ? Outcome::good : out_of_memory("checkpoints");
}

void Loader::reset() {
  index_->entries.clear();
  index_->checkpoints.clear();
  index_->overview_at = 0;
  index_->info = {};
  index_->info.file_size = source_.size();
  index_->info.damaged_at = -1;
  index_->info.state = QOM_STATE_UNFINISHED;
  spans_.clear();
}

// --- finished recordings ---------------------------------------------------------------------

Outcome Loader::load_from_end_mark() {
  reset();
  if (source_.size() < space_.first_frame + end_bytes) return Outcome::bad;
  uint8_t bytes[end_bytes];
  if (!fetch(source_.size() - end_bytes, bytes, end_bytes)) return Outcome::failed;
  End end;
  if (!decode_end(bytes, source_.size(), space_, &end)) return Outcome::bad;
  const EndMark &mark = end.mark;
  if (!index_->entries.resize(mark.records)) return out_of_memory("the index");

  uint64_t records = 0;
  uint64_t position = mark.index_position;
  while (position < mark.position) {
    Frame part;
    IndexHead head;
    Outcome outcome = read_index_head(position, frame_index_part, &part, &head);
    if (outcome != Outcome::good) return outcome;
    if (head.first_record != records || head.entries > mark.records - records) return Outcome::bad;
    outcome = read_index_frame(part, head, index_->entries.data() + records);
    if (outcome != Outcome::good) return outcome;
    records += head.entries;
    position = part.end();
  }
  if (position != mark.position || records != mark.records || spans_.size() != mark.checkpoints ||
      !check_entries(mark.index_position))
    return Outcome::bad;
  index_->info.state = QOM_STATE_FINISHED;
  // One that cannot be there is given a place all the same: something is wrong with it.
  const uint64_t overview = std::min(end.overview_bytes, mark.index_position - 1);
  if (overview > 0) index_->overview_at = mark.index_position - overview;
  return Outcome::good;
}

// The pieces of an index lie one behind the other: from a source that is far they come together.
bool Loader::fetch(uint64_t position, void *data, size_t length) {
  if (!source_.far() || length > window_->room()) return source_.read(position, data, length);
  if (length == 0) return true;
  const uint8_t *bytes = window_->at(position, length);
  if (bytes) std::memcpy(data, bytes, length);
  return bytes;
}

// Reads the heads of an index block or part and checks its lengths; the entries follow later.
Outcome Loader::read_index_head(uint64_t position, uint8_t type, Frame *frame, IndexHead *head) {
  frame->position = position;
  if (position < space_.first_frame || position > source_.size() ||
      source_.size() - position < frame_head_bytes + index_fixed_bytes)
    return Outcome::bad;
  uint8_t bytes[frame_head_bytes + index_fixed_bytes];
  if (!fetch(position, bytes, sizeof bytes)) return Outcome::failed;
  std::memcpy(head, bytes + frame_head_bytes, sizeof *head);
  const uint64_t length = uint64_t{index_fixed_bytes} +
                          uint64_t{head->entries} * sizeof(QomIndexEntry) +
                          uint64_t{head->checkpoints} * sizeof(CheckpointSpan);
  if (!decode_frame_head(bytes, space_.salt, &frame->head) || frame->head.type != type ||
      frame->head.stored_length != length || frame->length() > source_.size() - position ||
      head->position != position)
    return Outcome::bad;
  return Outcome::good;
}

// Reads entries to their place and the checkpoints behind those known; checks the checksum.
Outcome Loader::read_index_frame(const Frame &frame, const IndexHead &head,
                                 QomIndexEntry *entries) {
  const size_t known = spans_.size();
  if (!spans_.resize(known + head.checkpoints)) return out_of_memory("checkpoints");
  const size_t entry_bytes = head.entries * sizeof(QomIndexEntry);
  const size_t span_bytes = head.checkpoints * sizeof(CheckpointSpan);
  const uint64_t position = frame.position + frame_head_bytes + index_fixed_bytes;
  if (!fetch(position, entries, entry_bytes) ||
      !fetch(position + entry_bytes, spans_.data() + known, span_bytes))
    return Outcome::failed;
  const uint32_t crc = Crc32c()
                           .add(&head, sizeof head)
                           .add(entries, entry_bytes)
                           .add(spans_.data() + known, span_bytes)
                           .value();
  return crc == frame.head.payload_crc ? Outcome::good : Outcome::bad;
}

// Whether the entries can be the records before `limit`; raises times that go back.
bool Loader::check_entries(uint64_t limit) {
  uint64_t end = space_.first_frame;
  uint64_t time = space_.start_time;
  uint64_t raised = 0;
  uint64_t bytes = 0;
  for (QomIndexEntry &entry : index_->entries) {
    const auto position = static_cast<uint64_t>(entry.position);
    if (position < end || position > limit || limit - position < frame_head_bytes ||
        limit - position - frame_head_bytes < entry.length || !is_record_type(entry.type) ||
        entry.timestamp > QOM_MAX_TIME)
      return false;
    end = position + frame_head_bytes + entry.length;
    bytes += frame_head_bytes + entry.length;
    entry.flags &= QOM_ENTRY_LOSSY;
    if (!draws(entry.type) || space_.pixel_bytes == 0) entry.area = 0;
    if (entry.timestamp < time) {
      entry.timestamp = time;
      entry.flags |= QOM_ENTRY_TIME_RAISED;
      ++raised;
    }
    time = entry.timestamp;
  }
  index_->info.times_raised = raised;
  index_->info.record_bytes = bytes;
  return true;
}

// --- unfinished recordings -------------------------------------------------------------------

Outcome Loader::load_from_chain() {
  reset();
  uint64_t limit = source_.size();
  int attempts = 0;
  while (attempts < chain_attempts) {
    Frame block;
    bool failed;
    if (!find_last_head(window_, space_.salt, frame_index_block, space_.first_frame, limit, &block,
                        &failed))
      return failed ? Outcome::failed : Outcome::bad;
    limit = block.position;
    IndexHead head;
    Outcome outcome = read_index_head(block.position, frame_index_block, &block, &head);
    if (outcome == Outcome::good) outcome = read_chain(block, head);
    if (outcome == Outcome::good) return walk(block.end());
    if (outcome == Outcome::failed) return outcome;
    // The block itself may be the one that is damaged: the chain before it is tried as well.
    spans_.clear();
    ++attempts;
  }
  return Outcome::bad;
}

// Reads the block and all before it, from the last to the first, each to its place.
Outcome Loader::read_chain(Frame block, IndexHead head) {
  const uint64_t limit = block.position;
  const uint64_t most = limit / frame_head_bytes;
  if (head.first_record > most || head.entries > most - head.first_record) return Outcome::bad;
  // With room for the records behind the last block, so that they do not move all the others.
  const uint64_t count = head.first_record + head.entries;
  if (!index_->entries.reserve(count + index_block_entries) || !index_->entries.resize(count))
    return out_of_memory("the index");
  for (;;) {
    if (head.entries == 0) return Outcome::bad;
    Outcome outcome = read_index_frame(block, head, index_->entries.data() + head.first_record);
    if (outcome != Outcome::good) return outcome;
    if (head.previous == 0) break;
    const IndexHead later = head;
    outcome = read_index_head(later.previous, frame_index_block, &block, &head);
    if (outcome != Outcome::good) return outcome;
    // The chain gets on: blocks that overlap could loop, or each hold the rest of the file.
    if (block.end() > later.position || head.first_record > later.first_record ||
        head.entries != later.first_record - head.first_record)
      return Outcome::bad;
  }
  return head.first_record == 0 && check_entries(limit) ? Outcome::good : Outcome::bad;
}

Outcome Loader::load_by_walk() {
  reset();
  return walk(space_.first_frame);
}

// Adds what the frames from `from` to the end of the file hold.
Outcome Loader::walk(uint64_t from) {
  FrameWalker walker(window_, space_.salt, from, source_.size());
  for (;;) {
    switch (walker.next()) {
      case FrameWalker::Found::frame: {
        const Outcome outcome = add_frame(walker.frame());
        if (outcome != Outcome::good) return outcome;
        break;
      }
      case FrameWalker::Found::damage:
        note_damage(walker.gap_position(), walker.gap());
        break;
      case FrameWalker::Found::torn:
        index_->info.torn_bytes += walker.gap();
        break;
      case FrameWalker::Found::end:
        index_->entries.shrink();
        return Outcome::good;
      case FrameWalker::Found::failed:
        return Outcome::failed;
    }
  }
}

Outcome Loader::add_frame(const Frame &frame) {
  const uint8_t type = frame.head.type;
  if (is_record_type(type)) return add_record(frame);
  if (!is_structural_type(type)) {
    ++index_->info.unknown_records;
    return Outcome::good;
  }
  bool failed;
  if (!payload_is_good(window_, frame, &failed)) {
    if (failed) return Outcome::failed;
    note_damage(frame.position, frame.length());
    return Outcome::good;
  }
  if (type == frame_end_mark) end_mark_at_ = frame.position;
  return type == frame_checkpoint ? add_checkpoint(frame) : Outcome::good;
}

Outcome Loader::add_record(const Frame &frame) {
  if (!check_record_head(frame.head)) {
    note_damage(frame.position, frame.length());
    return Outcome::good;
  }
  const uint64_t time =
      index_->entries.empty() ? space_.start_time : index_->entries.back().timestamp;
  QomIndexEntry entry = {};
  entry.position = static_cast<int64_t>(frame.position);
  entry.timestamp = std::max(frame.head.timestamp, time);
  entry.type = frame.head.type;
  entry.length = frame.head.stored_length;
  entry.area = area_of(frame.head, space_.pixel_bytes);
  entry.flags = flags_of(frame.head);
  if (frame.head.timestamp < time) {
    entry.flags |= QOM_ENTRY_TIME_RAISED;
    ++index_->info.times_raised;
  }
  index_->info.record_bytes += frame.length();
  return index_->entries.push(entry) ? Outcome::good : out_of_memory("the index");
}

Outcome Loader::add_checkpoint(const Frame &frame) {
  CheckpointSpan span;
  if (frame.head.stored_length != sizeof span) return Outcome::good;
  const uint8_t *bytes = window_->at(frame.position + frame_head_bytes, sizeof span);
  if (!bytes) return Outcome::failed;
  std::memcpy(&span, bytes, sizeof span);
  return spans_.push(span) ? Outcome::good : out_of_memory("checkpoints");
}

void Loader::note_damage(uint64_t position, uint64_t length) {
  QomReaderInfo &info = index_->info;
  info.state = QOM_STATE_DAMAGED;
  info.damaged_bytes += length;
  if (info.damaged_at < 0) info.damaged_at = static_cast<int64_t>(position);
}

// --- checkpoints -----------------------------------------------------------------------------

bool Loader::resolve_checkpoints() {
  std::sort(spans_.begin(), spans_.end(), [](const CheckpointSpan &a, const CheckpointSpan &b) {
    return a.position != b.position ? a.position < b.position : a.count < b.count;
  });
  auto &checkpoints = index_->checkpoints;
  QomReaderInfo &info = index_->info;
  for (const CheckpointSpan &span : spans_) {
    Checkpoint checkpoint;
    if (!resolve(span, &checkpoint)) continue;
    if (!checkpoints.empty() && checkpoint.first < checkpoints.back().end) continue;
    if (!checkpoints.push(checkpoint)) return false;
    for (size_t i = checkpoint.first; i < checkpoint.end; ++i)
      info.checkpoint_bytes += frame_head_bytes + index_->entries[i].length;
  }
  checkpoints.shrink();
  info.checkpoint_count = checkpoints.size();
  return true;
}

// A checkpoint counts when its records are all there.
bool Loader::resolve(const CheckpointSpan &span, Checkpoint *checkpoint) const {
  const auto &entries = index_->entries;
  const QomIndexEntry *first =
      std::lower_bound(entries.begin(), entries.end(), span.position,
                       [](const QomIndexEntry &entry, uint64_t position) {
                         return static_cast<uint64_t>(entry.position) < position;
                       });
  const auto left = static_cast<uint64_t>(entries.end() - first);
  if (span.count == 0 || span.count > max_checkpoint_records || span.count > left ||
      static_cast<uint64_t>(first->position) != span.position)
    return false;
  checkpoint->first = static_cast<size_t>(first - entries.begin());
  checkpoint->end = checkpoint->first + span.count;
  return is_checkpoint(first, first + span.count);
}

}  // namespace

bool is_checkpoint(const QomIndexEntry *first, const QomIndexEntry *last) {
  int64_t end = first->position;
  bool image = false;
  for (const QomIndexEntry *entry = first; entry < last; ++entry) {
    if (entry->position != end) return false;
    end += frame_head_bytes + int64_t{entry->length};
    image = image || entry->type == QOM_COMPRESSED_IMAGE;
  }
  return image;
}

bool decode_end(const uint8_t bytes[end_bytes], uint64_t size, const FrameSpace &space, End *end) {
  FrameHead head;
  EndMark &mark = end->mark;
  std::memcpy(&mark, bytes + frame_head_bytes, sizeof mark);
  if (!decode_frame_head(bytes, space.salt, &head) || head.type != frame_end_mark ||
      head.stored_length != end_mark_bytes || head.payload_crc != crc32c(&mark, sizeof mark))
    return false;
  end->overview_bytes = head.raw_length;
  // Each record takes at least a frame head, which bounds the memory for the entries.
  return mark.position == size - end_bytes && mark.index_position >= space.first_frame &&
         mark.index_position <= mark.position &&
         mark.records <= mark.index_position / frame_head_bytes;
}

bool load_index(const Source &source, Window *window, const FrameSpace &space, IndexSource from,
                Index *index) {
  const Outcome outcome = Loader(source, window, space, index).load(from);
  return outcome == Outcome::good;
}

}  // namespace qom
