#include "file/catalog.h"

#include <algorithm>
#include <cerrno>

#include "base/error.h"
#include "file/format.h"
#include "file/overview.h"

namespace qom {

// What failed once is not tried again.
bool Catalog::fail() {
  errno_ = errno;
  state_ = State::failed;
  return false;
}

bool Catalog::begin() {
  if (state_ == State::failed) errno = errno_;
  if (state_ != State::closed) return state_ != State::failed;
  switch (parts_.open(*source_, space_)) {
    case Outcome::good:
      state_ = State::overview;
      return true;
    case Outcome::bad:
      return load_index();
    case Outcome::failed:
      break;
  }
  return fail();
}

bool Catalog::load_index() {
  if (!qom::load_index(*source_, window_, space_, IndexSource::end_mark, &index_)) return fail();
  state_ = State::index;
  parts_.close();
  return true;
}

// Whether the index has the records and the checkpoints that the overview told of.
bool Catalog::agrees() const {
  const auto &told = parts_.overview().checkpoints;
  return index_.info.state == QOM_STATE_FINISHED &&
         index_.entries.size() == parts_.overview().head.records &&
         std::equal(told.begin(), told.end(), index_.checkpoints.begin(), index_.checkpoints.end(),
                    [](const OverviewCheckpoint &a, const Checkpoint &b) {
                      return a.first_record == b.first && a.first_record + a.records == b.end;
                    });
}

Index *Catalog::all() {
  if (state_ == State::closed || state_ == State::overview) {
    const bool was_told = state_ == State::overview;
    if (load_index() && was_told && !agrees()) ++generation_;
  }
  if (state_ == State::failed) errno = errno_;
  return state_ == State::index ? &index_ : nullptr;
}

template <typename Work>
Outcome Catalog::from_overview(Work work) {
  if (!begin()) return Outcome::failed;
  if (state_ == State::overview) {
    const Outcome outcome = work();
    const bool is_cut = outcome == Outcome::failed && errno == 0;  // since it was opened
    if (outcome != Outcome::bad && !is_cut) return outcome;
    if (is_cut) source_->shrink();
    ++generation_;
    if (!load_index()) return Outcome::failed;
  }
  return Outcome::bad;
}

bool Catalog::count(uint64_t *records) {
  if (!begin()) return false;
  *records = state_ == State::overview ? parts_.overview().head.records : index_.entries.size();
  return true;
}

bool Catalog::entry(uint64_t record, QomIndexEntry *entry) {
  uint64_t records;
  if (!count(&records)) return false;
  Outcome outcome = Outcome::bad;
  if (record < records) outcome = from_overview([&] { return parts_.entry(record, entry); });
  if (outcome != Outcome::bad) return outcome == Outcome::good;
  if (state_ == State::index && record < index_.entries.size()) {
    *entry = index_.entries[record];
    return true;
  }
  count(&records);
  errno = EINVAL;
  set_error("no record %llu in a recording of %llu", static_cast<unsigned long long>(record),
            static_cast<unsigned long long>(records));
  return false;
}

bool Catalog::count_before(uint64_t time, bool until, uint64_t *records) {
  const Outcome outcome = from_overview([&] { return parts_.count_before(time, until, records); });
  if (outcome != Outcome::bad) return outcome == Outcome::good;
  const auto &entries = index_.entries;
  const QomIndexEntry *found = std::partition_point(
      entries.begin(), entries.end(), [time, until](const QomIndexEntry &entry) {
        return until ? entry.timestamp <= time : entry.timestamp < time;
      });
  *records = static_cast<uint64_t>(found - entries.begin());
  return true;
}

bool Catalog::checkpoint_before(uint64_t record, Checkpoint *checkpoint) {
  const Outcome outcome =
      from_overview([&] { return parts_.checkpoint_before(record, checkpoint); });
  if (outcome != Outcome::bad) return outcome == Outcome::good;
  const auto &checkpoints = index_.checkpoints;
  const Checkpoint *behind =
      std::upper_bound(checkpoints.begin(), checkpoints.end(), record,
                       [](uint64_t i, const Checkpoint &one) { return i < one.first; });
  *checkpoint = behind == checkpoints.begin() ? Checkpoint{0, 0} : behind[-1];
  return true;
}

bool Catalog::first_image(uint64_t *record) {
  const Outcome outcome = from_overview([&] {
    *record = parts_.overview().head.first_image;
    if (*record == parts_.overview().head.records) return Outcome::good;
    QomIndexEntry entry;  // whose part is then held against the overview
    return parts_.entry(*record, &entry);
  });
  if (outcome != Outcome::bad) return outcome == Outcome::good;
  const auto &entries = index_.entries;
  *record = static_cast<uint64_t>(
      std::find_if(entries.begin(), entries.end(),
                   [](const QomIndexEntry &entry) { return is_image(entry.type); }) -
      entries.begin());
  return true;
}

const Strip *Catalog::activity() {
  if (!begin()) return nullptr;
  if (state_ == State::overview) return &parts_.overview().strip;
  if (!measured_ &&
      !measure_activity({index_.entries.data(), index_.entries.size()},
                        {index_.checkpoints.data(), index_.checkpoints.size()}, &strip_))
    return nullptr;
  measured_ = true;
  return &strip_;
}

// Bad when a finished recording has an overview that does not tell what the index does.
Outcome Catalog::judge_overview() {
  Parts read(window_);
  const Outcome outcome = read.open(*source_, space_);
  if (outcome != Outcome::good) return outcome;
  Array<uint32_t> part_entries;
  for (const OverviewPart &part : read.overview().parts)
    if (!part_entries.push(part.entries)) return out_of_memory("the overview");
  Overview made;
  if (!make_overview({index_.entries.data(), index_.entries.size()},
                     {index_.checkpoints.data(), index_.checkpoints.size()},
                     {part_entries.data(), part_entries.size()}, &made))
    return Outcome::failed;
  return is_same(made, read.overview()) ? Outcome::good : Outcome::bad;
}

bool Catalog::info(QomReaderInfo *info) {
  if (!all()) return false;
  if (!judged_ && index_.info.state == QOM_STATE_FINISHED && index_.overview_at > 0) {
    const Outcome outcome = judge_overview();
    if (outcome == Outcome::failed) return false;
    if (outcome == Outcome::bad) {
      index_.info.state = QOM_STATE_DAMAGED;
      index_.info.damaged_at = static_cast<int64_t>(index_.overview_at);
    }
  }
  judged_ = true;
  *info = index_.info;
  return true;
}

}  // namespace qom
