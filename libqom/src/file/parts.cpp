#include "file/parts.h"

#include <algorithm>
#include <cstring>

#include "base/checksum.h"
#include "file/format.h"

namespace qom {
namespace {

// The end of a file that is read at once: of short recordings it has the overview, too.
constexpr uint64_t tail_bytes = uint64_t{64} * 1024;

}  // namespace

Outcome Parts::open(const Source &source, const FrameSpace &space) {
  space_ = space;
  if (source.size() < space.first_frame + end_bytes) return Outcome::bad;
  Array<uint8_t> tail;
  if (!tail.resize(std::min(source.size() - space.first_frame, tail_bytes)))
    return out_of_memory("the end of the recording");
  if (!window_->copy(source.size() - tail.size(), tail.data(), tail.size())) return Outcome::failed;
  End end;
  if (!decode_end(tail.end() - end_bytes, source.size(), space, &end)) return Outcome::bad;
  return read_overview(*window_, space, end, {tail.data(), tail.size()}, &overview_, &places_);
}

void Parts::close() {
  for (Loaded &loaded : loaded_) {
    loaded.part = SIZE_MAX;
    loaded.frame.release();
  }
}

size_t Parts::part_of(uint64_t record) const {
  const PartPlace *behind = std::upper_bound(
      places_.begin(), places_.end(), record,
      [](uint64_t number, const PartPlace &place) { return number < place.first_record; });
  return static_cast<size_t>(behind - places_.begin()) - 1;
}

Parts::Loaded &Parts::least_used() {
  return *std::min_element(std::begin(loaded_), std::end(loaded_),
                           [](const Loaded &a, const Loaded &b) { return a.used < b.used; });
}

Outcome Parts::entries_of(size_t part, const QomIndexEntry **entries) {
  if (loaded_[latest_].part != part) {
    Loaded *found = std::find_if(std::begin(loaded_), std::end(loaded_),
                                 [part](const Loaded &loaded) { return loaded.part == part; });
    if (found == std::end(loaded_)) {
      found = &least_used();
      const Outcome outcome = load(part, found);
      if (outcome != Outcome::good) return outcome;
    }
    found->used = ++clock_;
    latest_ = static_cast<size_t>(found - loaded_);
  }
  *entries = reinterpret_cast<const QomIndexEntry *>(loaded_[latest_].frame.data() +
                                                     frame_head_bytes + index_fixed_bytes);
  return Outcome::good;
}

Outcome Parts::load(size_t part, Loaded *loaded) {
  loaded->part = SIZE_MAX;
  if (!loaded->frame.resize(part_bytes(overview_.parts[part])))
    return out_of_memory("a part of the index");
  uint8_t *bytes = loaded->frame.data();
  if (!window_->copy(places_[part].position, bytes, loaded->frame.size())) return Outcome::failed;
  if (!check_part(part, bytes)) return Outcome::bad;
  auto entries = reinterpret_cast<QomIndexEntry *>(bytes + frame_head_bytes + index_fixed_bytes);
  const auto spans = reinterpret_cast<const uint8_t *>(entries + overview_.parts[part].entries);
  if (!check_entries(part, entries) || !check_spans(part, entries, spans)) return Outcome::bad;
  loaded->part = part;
  return Outcome::good;
}

// Whether these are the bytes of the part that the overview tells of.
bool Parts::check_part(size_t part, const uint8_t *bytes) const {
  const uint64_t length = part_bytes(overview_.parts[part]) - frame_head_bytes;
  FrameHead frame;
  IndexHead head;
  std::memcpy(&head, bytes + frame_head_bytes, sizeof head);
  return decode_frame_head(bytes, space_.salt, &frame) && frame.type == frame_index_part &&
         frame.stored_length == length &&
         frame.payload_crc == crc32c(bytes + frame_head_bytes, length) &&
         head.position == places_[part].position &&
         head.first_record == places_[part].first_record &&
         head.entries == overview_.parts[part].entries &&
         head.checkpoints == overview_.parts[part].checkpoints;
}

// Whether the entries rise between where the overview has this part begin and the next one.
bool Parts::check_entries(size_t part, QomIndexEntry *entries) const {
  const OverviewPart &told = overview_.parts[part];
  const bool is_last = part + 1 == overview_.parts.size();
  const uint64_t limit =
      is_last ? overview_.head.position : overview_.parts[part + 1].record_position;
  uint64_t end = told.record_position;
  uint64_t time = told.first_time;
  const uint64_t first = places_[part].first_record;
  const uint64_t first_image = overview_.head.first_image;
  for (QomIndexEntry *entry = entries; entry < entries + told.entries; ++entry) {
    const auto position = static_cast<uint64_t>(entry->position);
    if (position < end || position > limit || limit - position < frame_head_bytes ||
        limit - position - frame_head_bytes < entry->length || !is_record_type(entry->type) ||
        entry->timestamp < time)
      return false;
    const uint64_t number = first + static_cast<uint64_t>(entry - entries);
    if (number <= first_image && is_image(entry->type) != (number == first_image)) return false;
    end = position + frame_head_bytes + entry->length;
    time = entry->timestamp;
    entry->flags &= QOM_ENTRY_LOSSY;
    if (!draws(entry->type) || space_.pixel_bytes == 0) entry->area = 0;
  }
  return static_cast<uint64_t>(entries->position) == told.record_position &&
         entries->timestamp == told.first_time && time == told.last_time;
}

bool Parts::check_spans(size_t part, const QomIndexEntry *entries, const uint8_t *spans) const {
  const PartPlace &place = places_[part];
  for (size_t i = 0; i < overview_.parts[part].checkpoints; ++i) {
    CheckpointSpan span;
    std::memcpy(&span, spans + i * sizeof span, sizeof span);
    const OverviewCheckpoint &told = overview_.checkpoints[place.first_checkpoint + i];
    const QomIndexEntry &entry = entries[told.first_record - place.first_record];
    if (span.position != told.position || span.count != told.records ||
        told.position != static_cast<uint64_t>(entry.position) || told.time != entry.timestamp)
      return false;
  }
  return true;
}

Outcome Parts::entry(uint64_t record, QomIndexEntry *entry) {
  const size_t part = part_of(record);
  const QomIndexEntry *entries;
  const Outcome outcome = entries_of(part, &entries);
  if (outcome == Outcome::good) *entry = entries[record - places_[part].first_record];
  return outcome;
}

Outcome Parts::count_before(uint64_t time, bool until, uint64_t *records) {
  const auto is_before = [time, until](uint64_t t) { return until ? t <= time : t < time; };
  // The first part that is not before the time throughout.
  const OverviewPart *told = std::partition_point(
      overview_.parts.begin(), overview_.parts.end(),
      [&is_before](const OverviewPart &part) { return is_before(part.last_time); });
  *records = overview_.head.records;
  if (told == overview_.parts.end()) return Outcome::good;
  const auto part = static_cast<size_t>(told - overview_.parts.begin());
  *records = places_[part].first_record;
  if (!is_before(told->first_time)) return Outcome::good;
  const QomIndexEntry *entries;
  const Outcome outcome = entries_of(part, &entries);
  if (outcome != Outcome::good) return outcome;
  const QomIndexEntry *found = std::partition_point(
      entries, entries + told->entries,
      [&is_before](const QomIndexEntry &entry) { return is_before(entry.timestamp); });
  *records += static_cast<uint64_t>(found - entries);
  return Outcome::good;
}

Outcome Parts::checkpoint_before(uint64_t record, Checkpoint *checkpoint) {
  const auto &all = overview_.checkpoints;
  const OverviewCheckpoint *behind = std::upper_bound(
      all.begin(), all.end(), record,
      [](uint64_t number, const OverviewCheckpoint &told) { return number < told.first_record; });
  *checkpoint = {0, 0};
  if (behind == all.begin()) return Outcome::good;
  const OverviewCheckpoint &told = behind[-1];
  QomIndexEntry run[max_checkpoint_records];
  for (size_t i = 0; i < told.records; ++i) {
    const Outcome outcome = entry(told.first_record + i, &run[i]);
    if (outcome != Outcome::good) return outcome;
  }
  if (!is_checkpoint(run, run + told.records)) return Outcome::bad;
  *checkpoint = {static_cast<size_t>(told.first_record),
                 static_cast<size_t>(told.first_record + told.records)};
  return Outcome::good;
}

}  // namespace qom
