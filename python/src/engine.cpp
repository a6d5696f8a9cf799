#include "engine.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "failure.h"
#include "info_json.h"
#include "signals.h"

namespace qompython {
namespace {

constexpr std::chrono::milliseconds kBetweenLooks(50);

}  // namespace

Engine::Engine(qomtool::ReaderPtr reader, const std::string &name) : name_(name) {
  if (!reader) fail<NotARecording>(name_);
  recording_ = qomtool::recording_of(std::move(reader));
  if (!recording_) fail<Error>(name_);
  const QomIndexEntry *picture = qomtool::first_picture(recording_);
  first_ = picture ? picture->timestamp : recording_.header->timestamp;
  last_ = first_;
  if (recording_.length > 0)
    last_ = std::max(first_, recording_.index[recording_.length - 1].timestamp);
  size_ = PictureSize{recording_.header->width, recording_.header->height};
}

Engine::Lock Engine::lock() {
  Lock lock(mutex_);
  if (closed_) throw Closed();
  return lock;
}

void Engine::close() {
  const Lock lock(mutex_);
  closed_ = true;
  others_.clear();
  own_.reset();
  recording_ = {};
}

nlohmann::ordered_json Engine::info() {
  const Lock locked = lock();
  return qomtool::info_json(recording_);
}

Shown Engine::show(uint64_t time, bool with_cursor, PictureSize expected, uint8_t *rgb) {
  const Lock locked = lock();
  QomScreen *screen = own_screen();
  go(screen, time);
  QomPicture picture;
  if (qom_screen_picture(screen, with_cursor, &picture) != 0) fail<Error>(name_);
  const PictureSize size = {picture.width, picture.height};
  size_ = size;
  if (size == expected)
    qom_picture_rgb(&picture, {0, 0, size.width, size.height}, rgb, size_t{size.width} * 3);
  return {size, is_trusted(screen, {time, time}), qom_screen_lossy(screen, nullptr, 0) > 0};
}

std::vector<QomRectangle> Engine::lossy(uint64_t time) {
  const Lock locked = lock();
  QomScreen *screen = own_screen();
  go(screen, time);
  std::vector<QomRectangle> areas(QOM_MAX_LOSSY_AREAS);
  areas.resize(qom_screen_lossy(screen, areas.data(), areas.size()));
  return areas;
}

Texts Engine::texts(uint64_t time) {
  const Lock locked = lock();
  QomScreen *screen = own_screen();
  go(screen, time);
  Texts texts;
  texts.trusted = is_trusted(screen, {time, time});
  for (unsigned i = 0; i < QOM_TEXT_COUNT; ++i)
    if (const char *text = qom_screen_text(screen, static_cast<QomScreenText>(i)))
      texts.all[i] = text;
  return texts;
}

Found Engine::next_change(uint64_t time, const QomRectangle *area) {
  const Lock locked = lock();
  const auto found = search(qom_screen_next_change, own_screen(), time, area);
  const Period period = {time + 1, found.value_or(std::max(time + 1, last_))};
  return {found, period, is_trusted(period)};
}

Found Engine::previous_change(uint64_t time, const QomRectangle *area) {
  const Lock locked = lock();
  const auto found = search(qom_screen_previous_change, own_screen(), time, area);
  const Period period = {found.value_or(first_), std::max<uint64_t>(time, 1) - 1};
  return {found, period, period.from > period.to || is_trusted(period)};
}

std::optional<uint64_t> Engine::change_behind(QomScreen *screen, uint64_t time) {
  return search(qom_screen_next_change, screen, time, nullptr);
}

std::optional<uint64_t> Engine::search(Search find, QomScreen *screen, uint64_t time,
                                       const QomRectangle *area) {
  uint64_t found = 0;
  const int result = find(screen, time, area, &found);
  if (result < 0) fail<Error>(name_);
  return result == 1 ? std::optional(found) : std::nullopt;
}

std::vector<QomStretch> Engine::untrusted() {
  const Lock locked = lock();
  return find_untrusted();
}

const std::vector<QomStretch> &Engine::find_untrusted() {
  if (untrusted_) return *untrusted_;
  QomStretch *found = nullptr;
  size_t count = 0;
  const auto look = [](void *context, uint64_t) {
    if (!is_time_to_look(context)) return 0;
    static_cast<Engine *>(context)->next_look_ = Clock::now() + kBetweenLooks;
    return static_cast<int>(signal_has_failed());
  };
  if (qom_screen_untrusted(recording_.reader.get(), look, this, &found, &count) != 0) {
    throw_signal_failure();
    fail<Error>(name_);
  }
  const std::unique_ptr<QomStretch, decltype(&std::free)> stretches(found, std::free);
  return untrusted_.emplace(found, found + count);
}

// Damage of which the index has no records is found by reading everything.
bool Engine::is_trusted(const QomScreen *screen, const Period &period) {
  if (!qom_screen_is_trusted(screen)) return false;
  return recording_.info.state != QOM_STATE_DAMAGED || !meets_untrusted(period);
}

// The same where no screen has come past what the pictures are made of.
bool Engine::is_trusted(const Period &period) {
  if (recording_.info.state != QOM_STATE_DAMAGED && can_be_read(period)) return true;
  return !meets_untrusted(period);
}

bool Engine::meets_untrusted(const Period &period) {
  const std::vector<QomStretch> &stretches = find_untrusted();
  return std::any_of(stretches.begin(), stretches.end(), [&period](const QomStretch &stretch) {
    return stretch.begin <= period.to && period.from < stretch.end;
  });
}

// Whether the records of the period, and those that its first picture is made of, can be read. Each
// is read once.
bool Engine::can_be_read(const Period &period) {
  sound_.resize(recording_.length);
  const size_t known = qom_screen_place_of_time(own_screen(), period.from);
  const size_t end = std::min(qom_screen_place_of_time(own_screen(), period.to), sound_.size());
  size_t first = 0;
  size_t behind;
  if (known > 0) qom_checkpoint_before(recording_.reader.get(), known - 1, &first, &behind);
  for (size_t i = first; i < end; ++i) {
    if (!sound_[i] && !qomtool::RecordPtr(qom_record_at_index(recording_.reader.get(), i)))
      return false;
    sound_[i] = true;
  }
  return true;
}

int Engine::is_time_to_look(void *engine) {
  return Clock::now() >= static_cast<const Engine *>(engine)->next_look_;
}

Engine::ScreenPtr Engine::new_screen(int save_by_hand) {
  QomScreenOptions options = {};
  options.save_by_hand = save_by_hand;
  options.pause = is_time_to_look;
  options.context = this;
  ScreenPtr screen(qom_screen_open(recording_.reader.get(), &options));
  if (!screen) fail<Error>(name_);
  return screen;
}

QomScreen *Engine::own_screen() {
  if (!own_) own_ = new_screen(0);
  return own_.get();
}

QomScreen *Engine::open_screen() {
  const Lock locked = lock();
  others_.push_back(new_screen(1));
  return others_.back().get();
}

void Engine::close_screen(QomScreen *screen) {
  const Lock locked(mutex_);
  std::erase_if(others_, [screen](const ScreenPtr &other) { return other.get() == screen; });
}

void Engine::go(QomScreen *screen, uint64_t time) {
  for (;;) {
    next_look_ = Clock::now() + kBetweenLooks;
    const QomScreenResult result = qom_screen_go_to_time(screen, time);
    if (result == QOM_SCREEN_REACHED) return;
    if (result == QOM_SCREEN_FAILED) fail<Error>(name_);
    check_signals();
    if (closed_) throw Closed();
  }
}

}  // namespace qompython
