#include "source.h"

#include <algorithm>
#include <cstdlib>

#include "clock.h"
#include "progress.h"

namespace qomtool {
namespace {

int update(void *progress, uint64_t bytes) {
  static_cast<Progress *>(progress)->update(bytes);
  return 0;
}

}  // namespace

Source::Source(const std::string &name, Recording recording)
    : name_(name), recording_(std::move(recording)) {
  const QomIndexEntry *first = first_picture(recording_);
  if (!first) throw SourceError("it holds no picture");
  all_ = {first->timestamp, recording_.index[recording_.length - 1].timestamp};
  screen_.reset(qom_screen_open(recording_.reader.get(), nullptr));
  if (!screen_) throw SourceError(qom_reader_error());
  if (recording_.info.state == QOM_STATE_DAMAGED) find_untrusted();
}

// Damage of which the index has no records is found by reading everything.
void Source::find_untrusted() {
  Progress progress("reading", recording_.info.file_size, Progress::Unit::bytes);
  QomStretch *stretches = nullptr;
  size_t count = 0;
  if (qom_screen_untrusted(recording_.reader.get(), update, &progress, &stretches, &count) != 0)
    throw SourceError(qom_reader_error());
  untrusted_.assign(stretches, stretches + count);
  std::free(stretches);
}

uint64_t Source::time_of(const std::string &moment) const {
  std::string why;
  const uint64_t time = qomtool::time_of(*parse_moment(moment, &why), recording_, all_.from);
  if (time < all_.from)
    complain(name_,
             moment + " is before the first picture, which is taken: " + describe(all_.from));
  if (time > all_.to)
    complain(name_, moment + " is behind the end, which is taken: " + describe(all_.to));
  return std::clamp(time, all_.from, all_.to);
}

Stretch Source::stretch(const std::string &from, const std::string &to) const {
  const Stretch chosen = {from.empty() ? all_.from : time_of(from),
                          to.empty() ? all_.to : time_of(to)};
  if (chosen.from > chosen.to)
    throw SourceError("--from, " + describe(chosen.from) + ", is behind --to, " +
                      describe(chosen.to));
  return chosen;
}

std::string Source::describe(uint64_t time) const {
  return elapsed_time(all_.from, time) + " (" + local_time(time) + ')';
}

void Source::go_to(uint64_t time) const {
  if (qom_screen_go_to_time(screen_.get(), time) != QOM_SCREEN_REACHED)
    throw SourceError("at " + describe(time) + ": " + qom_reader_error());
}

bool Source::is_trusted(uint64_t time) const {
  const auto is_in = [time](const QomStretch &s) { return s.begin <= time && time < s.end; };
  return qom_screen_is_trusted(screen_.get()) &&
         std::none_of(untrusted_.begin(), untrusted_.end(), is_in);
}

std::vector<QomRectangle> Source::lossy() const {
  std::vector<QomRectangle> areas(QOM_MAX_LOSSY_AREAS);
  areas.resize(qom_screen_lossy(screen_.get(), areas.data(), areas.size()));
  return areas;
}

}  // namespace qomtool
