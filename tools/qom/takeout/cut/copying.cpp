#include "copying.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

#include "counted.h"

namespace qomtool {
namespace {

constexpr uint64_t kMostTold = 20;  // losses, one line each

[[noreturn]] void fail_to_write() {
  throw WriteError(qom_reader_error());
}

// For a result of the writer: whether it did as it was told. Refusing leaves it as it was.
bool accepted(int result) {
  if (result != 0 && errno != EINVAL) fail_to_write();
  return result == 0;
}

}  // namespace

Copying::Copying(const std::string &file, const Recording &recording, const CutStretch &stretch,
                 const Masks &masks, QomWriter *writer,
                 std::function<void(uint64_t bytes)> on_progress, Progress &progress)
    : file_(file),
      recording_(recording),
      stretch_(stretch),
      masks_(masks),
      writer_(writer),
      on_progress_(std::move(on_progress)),
      progress_(progress),
      cursor_(masks),
      runs_(checkpoints_in(recording, stretch)),
      gaps_(gaps_in(recording, stretch)),
      damage_(damaged_places(recording, stretch.stop)),
      last_time_(stretch.begin) {}

void Copying::begin_with(std::vector<RecordPtr> state, bool is_checkpoint, bool trusted) {
  open_ = is_checkpoint && accepted(qom_writer_begin_checkpoint(writer_));
  for (RecordPtr &record : state) append(std::move(record), stretch_.first);
  end_checkpoint();
  // Damage behind the checkpoint from which the screen may have come here.
  size_t known = 0;
  size_t end;
  if (stretch_.first > 0)
    qom_checkpoint_before(recording_.reader.get(), stretch_.first - 1, &known, &end);
  for (; next_damage_ < damage_.size() && damage_[next_damage_].record <= stretch_.first;
       ++next_damage_) {
    if (damage_[next_damage_].record > known) trusted = false;
  }
  if (trusted) return;
  say("the recording is damaged before --from: what the cut shows from " +
      describe_time(recording_, stretch_.begin) + " on need not be what was on the screen");
  untrusted_ = true;
  mark(stretch_.first, stretch_.begin);
}

void Copying::copy() {
  for (size_t i = stretch_.first; i < stretch_.stop; ++i) {
    pass_gaps(i);
    pass_damage(i);
    begin_checkpoint(i);
    append(RecordPtr(qom_record_at_index(recording_.reader.get(), i)), i);
    if (i + 1 == open_end_) end_checkpoint();
    const QomIndexEntry &entry = recording_.index[i];
    on_progress_(static_cast<uint64_t>(entry.position - recording_.index[stretch_.first].position) +
                 entry.length);
  }
  pass_gaps(stretch_.stop);
  write_marks();
  // Marks of film lie behind it, perhaps even behind the stretch.
  for (const QomFilmArea &area : film_areas_in(recording_, stretch_))
    accepted(qom_writer_film_area(writer_, &area));
  last_to_the_end();
  if (lost_ > kMostTold) say(std::to_string(lost_ - kMostTold) + " more could not be read");
}

// Nothing comes into the new recording without the masks having been laid over it. A record that
// is null could not be read, with the reason.
void Copying::append(RecordPtr record, size_t index) {
  const uint64_t time = record ? record->timestamp : recording_.index[index].timestamp;
  if (record) record = without_copies(std::move(record), index);
  if (record) record = masks_.blanked(std::move(record));
  if (record) record = cursor_.covered(std::move(record));
  if (!record && errno == ENOMEM) throw std::bad_alloc();
  if (!record || !accepted(qom_writer_append(writer_, record.get()))) {
    lose(index, time, "record #" + std::to_string(index), qom_reader_error());
    return;
  }
  ++written_;
  last_time_ = time;
}

// A recording lasts to its last record, and nothing may have happened at the end of the stretch.
void Copying::last_to_the_end() {
  if (last_time_ >= stretch_.end) return;
  const QomRecord nothing{QOM_DEBUG, stretch_.end};
  append(RecordPtr(qom_record_dup(&nothing)), stretch_.stop - 1);
}

// Under masks the new recording has not what copies were made of, so that it gets what they drew.
RecordPtr Copying::without_copies(RecordPtr record, size_t index) {
  if (record->type != QOM_COPY_AREA || masks_.areas().empty()) return record;
  if (!drawn_) drawn_ = std::make_unique<RawScreen>(recording_.reader.get());
  if (!drawn_->is_open() || !drawn_->go_to(index + 1)) return nullptr;
  return drawn_->targets(as<QomCopyArea>(record.get()));
}

// --- checkpoints -----------------------------------------------------------------------------

// Checkpoints that the stretch holds in part become ordinary records.
void Copying::begin_checkpoint(size_t index) {
  while (next_run_ < runs_.size() && runs_[next_run_].first < index) ++next_run_;
  if (next_run_ == runs_.size() || runs_[next_run_].first != index ||
      runs_[next_run_].end > stretch_.stop)
    return;
  open_ = accepted(qom_writer_begin_checkpoint(writer_));
  open_end_ = runs_[next_run_].end;
}

// One that lost records stays a run of ordinary ones: the writer refuses it.
void Copying::end_checkpoint() {
  if (!std::exchange(open_, false)) return;
  if (accepted(qom_writer_end_checkpoint(writer_))) ++checkpoints_;
}

// --- marks -----------------------------------------------------------------------------------

void Copying::pass_gaps(size_t index) {
  for (; next_gap_ < gaps_.size() && gaps_[next_gap_].record <= index; ++next_gap_)
    marks_.push_back(gaps_[next_gap_]);
  write_marks();
}

void Copying::write_marks() {
  if (open_) return;
  for (const QomGap &gap : marks_) accepted(qom_writer_gap(writer_, &gap));
  marks_.clear();
}

// --- losses ----------------------------------------------------------------------------------

void Copying::pass_damage(size_t index) {
  for (; next_damage_ < damage_.size() && damage_[next_damage_].record <= index; ++next_damage_) {
    const uint64_t time = index == 0
                              ? stretch_.begin
                              : std::max(stretch_.begin, recording_.index[index - 1].timestamp);
    lose(index, time, counted(damage_[next_damage_].bytes, "byte"), "no record begins there");
  }
}

void Copying::lose(size_t index, uint64_t time, const std::string &place, const std::string &why) {
  if (++lost_ <= kMostTold)
    say("at " + describe_time(recording_, time) + ": " + place + " left out: " + why);
  mark(index, time);
}

void Copying::mark(size_t index, uint64_t time) {
  if (time < marked_until_) return;
  const auto next = std::partition_point(
      runs_.begin(), runs_.end(), [index](const CheckpointRun &run) { return run.first <= index; });
  marked_until_ = next == runs_.end() ? stretch_.end : recording_.index[next->first].timestamp;
  marks_.push_back({time, std::max(time, marked_until_), 0, QOM_GAP_DAMAGED, 0});
}

void Copying::say(const std::string &what) {
  progress_.clear();
  complain(file_, what);
}

}  // namespace qomtool
