#include "recorder.h"

#include <xcb/composite.h>
#include <xcb/xinput.h>

#include <algorithm>

#include "error.h"

namespace qom::record {
namespace {

constexpr int64_t look_interval = second;      // of a quiet display
constexpr int64_t sign_interval = 5 * second;  // between two signs of life
constexpr int64_t input_interval = second;     // between two records of the last input

// The end of a recording that begins at `start`.
void set_end(EndWatch &ends, int64_t start, const Options &options) {
  if (options.duration) ends.end_at(start + static_cast<int64_t>(*options.duration * second));
}

// From here on the recording's time runs, also while the server does not answer.
EndWatch &timed(EndWatch &ends, const Options &options) {
  set_end(ends, steady_time(), options);
  return ends;
}

}  // namespace

Recorder::Recorder(const Options &options)
    : options_(options),
      server_(options.display, timed(ends_, options)),
      window_(options.window ? options.window : server_.root()),
      pace_(options.frames_per_second) {
  complete_texts(options_.texts);
  try {
    screen_ = std::make_unique<Screen>(server_, window_, options_.pixel_format, options_.film);
    watch_window();
    watch_input();
    application_ = std::make_unique<ApplicationWatch>(server_, options.window);
    begin();
  } catch (const RecordError &) {
    // A reply that never came has been taken for one that says no.
    if (server_.gone()) throw RecordError(server_went_silent);
    throw;
  }
}

// The root window is watched also when another one is recorded: the properties of window managers
// are there.
void Recorder::watch_window() {
  xcb_connection_t *connection = server_.connection();
  const uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
  xcb_change_window_attributes(connection, server_.root(), XCB_CW_EVENT_MASK, &mask);
  if (window_ == server_.root()) return;
  xcb_change_window_attributes(connection, window_, XCB_CW_EVENT_MASK, &mask);
  // A redirected window has pixels of its own, also where others cover it.
  const auto *composite = xcb_get_extension_data(connection, &xcb_composite_id);
  if (!composite || !composite->present) return;
  reply<xcb_composite_query_version_reply>(connection,
                                           xcb_composite_query_version(connection, 0, 4));
  xcb_composite_redirect_window(connection, window_, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
}

void Recorder::watch_input() {
  struct {
    xcb_input_event_mask_t head{XCB_INPUT_DEVICE_ALL_MASTER, 1};
    uint32_t mask = XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS |
                    XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_MOTION;
  } selection;
  xcb_input_xi_select_events(server_.connection(), server_.root(), 1, &selection.head);
  select_cursor_events(server_);
}

// The first checkpoint has the texts and the cursor before the picture, so that a player has them
// when it shows the first frame.
void Recorder::begin() {
  const Texts &texts = options_.texts;
  screen_->resize();
  journal_ = std::make_unique<Journal>(
      options_.output, JournalHeader{screen_->recorded_depth(), screen_->recorded_format(),
                                     screen_->picture().width(), screen_->picture().height(),
                                     server_.setup()->min_keycode, server_.setup()->max_keycode,
                                     *texts.user, *texts.tfn, options_.film});
  journal_->footer(QOM_FOOTER_ITEM_HOST, *texts.host);
  journal_->footer(QOM_FOOTER_ITEM_IP, *texts.ip);
  journal_->footer(QOM_FOOTER_ITEM_SID, *texts.sid);
  journal_->footer(QOM_FOOTER_ITEM_TID, *texts.tid);
  journal_->footer(QOM_FOOTER_ITEM_APPFMT, *texts.appfmt);
  screen_->update(false);
  news_.shape = news_.application = true;
  look_at_cursor();
  look_at_application();
  journal_->checkpoint(screen_->picture());
  restate_ = screen_->refused();
  news_ = {};
  last_look_ = last_glance_ = steady_time();
  pace_.start(last_look_);
  set_end(ends_, last_look_, options_);
  read_events(last_look_);
}

void Recorder::read_events(int64_t time) {
  while (const XOwned<xcb_generic_event_t> event{xcb_poll_for_event(server_.connection())}) {
    read_event(*event);
  }
  if (news_.any() && !frame_) frame_ = pace_.frame_after(time);
}

void Recorder::read_event(const xcb_generic_event_t &event) {
  const uint8_t type = event.response_type & 0x7f;
  if (type == server_.damage_event() + XCB_DAMAGE_NOTIFY) {
    news_.drawn = true;
  } else if (type == server_.fixes_event() + XCB_XFIXES_CURSOR_NOTIFY) {
    news_.shape = true;
  } else if (type == XCB_GE_GENERIC) {
    const auto &generic = reinterpret_cast<const xcb_ge_generic_event_t &>(event);
    news_.input |= generic.extension == server_.input_opcode();
  } else if (type == XCB_CONFIGURE_NOTIFY) {
    const auto &configured = reinterpret_cast<const xcb_configure_notify_event_t &>(event);
    news_.resized |= configured.window == window_;
  } else if (type == XCB_MAP_NOTIFY) {
    news_.drawn |= reinterpret_cast<const xcb_map_notify_event_t &>(event).window == window_;
  } else if (type == XCB_DESTROY_NOTIFY) {
    const xcb_window_t gone = reinterpret_cast<const xcb_destroy_notify_event_t &>(event).window;
    closed_ |= gone == window_;
    news_.application |= application_->was_manager(gone);
  } else if (type == XCB_PROPERTY_NOTIFY) {
    const auto &changed = reinterpret_cast<const xcb_property_notify_event_t &>(event);
    news_.application |= application_->concerns(changed.atom);
  }
}

std::optional<Ending> Recorder::ending() const {
  if (closed_) return Ending::window_closed;
  if (const auto asked = ends_.ended()) return asked;
  if (server_.gone()) return Ending::server_gone;
  return std::nullopt;
}

int64_t Recorder::look_time() const {
  if (frame_) return *frame_;
  const int64_t quiet = last_look_ + look_interval;
  const std::optional<int64_t> film = screen_->film_due();
  return film ? std::min(quiet, std::max(*film, pace_.frame_after(last_look_))) : quiet;
}

int64_t Recorder::sign_time() const {
  return journal_->recorded() + sign_interval;
}

int64_t Recorder::wake_time() const {
  return std::min({look_time(), glance_time(), sign_time()});
}

// Sleeps until something has to be done. While news wait for their frame, more of them wake nobody.
void Recorder::wait() const {
  ends_.sleep(wake_time(), frame_ ? -1 : xcb_get_file_descriptor(server_.connection()));
}

Ending Recorder::run(const std::function<void()> &falls_behind) {
  bool told = false;
  std::optional<Ending> end;
  GapWatch watch(read_clocks());
  while (!end) {
    mark(watch.rests(read_clocks(), wake_time(), journal_->recorded()));
    wait();
    mark(watch.wakes(read_clocks()));
    read_events(steady_time());
    if (steady_time() >= look_time()) {
      look();
    } else if (steady_time() >= glance_time()) {
      glance();
    }
    if (steady_time() >= sign_time()) journal_->sign_of_life();
    journal_->check_disk();
    if (!told && pace_.surely_fell_behind()) {
      told = true;
      falls_behind();
    }
    end = ending();
  }
  if (*end == Ending::signal || *end == Ending::duration) look();
  journal_->changes(screen_->picture(), screen_->settle());
  tell_of_film();
  journal_->finish();
  return *end;
}

void Recorder::mark(const std::vector<Gap> &gaps) {
  for (const Gap &gap : gaps) journal_->gap(gap);
}

// A program that moves the pointer makes no event that every program gets.
void Recorder::glance() {
  last_glance_ = steady_time();
  look_at_cursor();
  read_events(last_glance_);
}

void Recorder::look() {
  const int64_t begun = steady_time();
  read_events(begun);
  if (news_.drawn) pace_.looked(frame_.value_or(begun), begun);
  if (news_.resized && screen_->resize()) restate_ = true;
  if (news_.drawn || restate_ || screen_->refused() || screen_->film_due()) look_at_picture();
  look_at_cursor();
  look_at_application();
  look_at_input();
  if (!restate_ && journal_->checkpoint_due()) {
    const std::vector<Rectangle> lossy = screen_->settle_film();
    journal_->checkpoint(screen_->picture(), lossy);
  }
  tell_of_film();
  news_ = {};
  frame_.reset();
  last_look_ = last_glance_ = steady_time();
  // Events that came along with the server's answers wake no poll. They came after the look began,
  // so the frame that they belong to may have passed.
  read_events(begun);
}

void Recorder::tell_of_film() {
  for (const FilmStretch &stretch : screen_->film_stretches()) journal_->film(stretch);
}

void Recorder::look_at_picture() {
  const Changes changes = screen_->update(!restate_);
  if (screen_->refused()) return;
  if (restate_) {
    journal_->checkpoint(screen_->picture());
    restate_ = false;
  } else {
    journal_->changes(screen_->picture(), changes);
  }
}

void Recorder::look_at_cursor() {
  const auto place = cursor_place(server_, window_);
  if (!place) return;
  const auto shape = news_.shape ? cursor_shape(server_) : std::nullopt;
  if (shape) {
    journal_->cursor(*shape, *place);
  } else {
    journal_->cursor_place(*place);
  }
}

// Without a window manager that announces it, the active window has to be asked for.
void Recorder::look_at_application() {
  if (options_.texts.app) {
    journal_->footer(QOM_FOOTER_ITEM_APP, *options_.texts.app);
    return;
  }
  const int64_t now = steady_time();
  const bool ask = application_->must_be_asked() && now - application_asked_ >= look_interval;
  if (!news_.application && !ask) return;
  application_asked_ = now;
  const Application application = application_->look();
  if (server_.gone()) return;
  const bool none = application == Application{};
  journal_->footer(QOM_FOOTER_ITEM_APP,
                   none ? "" : application_text(*options_.texts.appfmt, application));
}

void Recorder::look_at_input() {
  const int64_t now = steady_time();
  if (!news_.input || now - input_recorded_ < input_interval) return;
  input_recorded_ = now;
  journal_->last_input(*options_.texts.user, *options_.texts.tfn);
}

}  // namespace qom::record
