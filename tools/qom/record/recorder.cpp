#include "recorder.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>
#include <xcb/composite.h>
#include <xcb/xinput.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <limits>

#include "error.h"

namespace qom::record {
namespace {

constexpr int64_t never = std::numeric_limits<int64_t>::max();
constexpr int64_t look_interval = second;      // of a quiet display
constexpr int64_t sign_interval = 5 * second;  // between two signs of life
constexpr int64_t input_interval = second;     // between two records of the last input

// A descriptor for the signals that end a recording; the caller owns it.
int open_signals() {
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
  sigset_t set;
  sigemptyset(&set);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&set, number);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  const int descriptor = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
  if (descriptor < 0) throw RecordError("the system gives no descriptor for signals");
  return descriptor;
}

}  // namespace

Recorder::Recorder(const Options &options)
    : options_(options),
      signals_(open_signals()),
      server_(options.display),
      window_(options.window ? options.window : server_.root()),
      period_(static_cast<int64_t>(second / options.frames_per_second)),
      end_(never) {
  complete_texts(options_.texts);
  screen_ = std::make_unique<Screen>(server_, window_, options_.pixel_format);
  watch_window();
  watch_input();
  application_ = std::make_unique<ApplicationWatch>(server_, options.window);
  begin();
}

Recorder::~Recorder() {
  close(signals_);
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
                                     *texts.user, *texts.tfn});
  journal_->footer(QOM_FOOTER_ITEM_HOST, *texts.host);
  journal_->footer(QOM_FOOTER_ITEM_IP, *texts.ip);
  journal_->footer(QOM_FOOTER_ITEM_SID, *texts.sid);
  journal_->footer(QOM_FOOTER_ITEM_TID, *texts.tid);
  journal_->footer(QOM_FOOTER_ITEM_APPFMT, *texts.appfmt);
  screen_->update();
  news_.shape = news_.application = true;
  look_at_cursor();
  look_at_application();
  journal_->checkpoint(screen_->picture());
  restate_ = screen_->refused();
  news_ = {};
  start_ = last_look_ = last_glance_ = steady_time();
  if (options_.duration) end_ = start_ + static_cast<int64_t>(*options_.duration * second);
  read_events();
}

void Recorder::read_events() {
  while (const XOwned<xcb_generic_event_t> event{xcb_poll_for_event(server_.connection())}) {
    read_event(*event);
  }
  if (news_.any() && !frame_) frame_ = frame_after(steady_time());
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
  if (server_.gone()) return Ending::server_gone;
  if (steady_time() >= end_) return Ending::duration;
  return std::nullopt;
}

// Frames lie on a fixed grid, so that a player with the same rate shows each look in a frame of its
// own; what is drawn in many steps has time to be finished.
int64_t Recorder::frame_after(int64_t time) const {
  return start_ + ((time - start_) / period_ + 1) * period_;
}

int64_t Recorder::look_time() const {
  return frame_.value_or(last_look_ + look_interval);
}

int64_t Recorder::sign_time() const {
  return journal_->recorded() + sign_interval;
}

int64_t Recorder::wake_time() const {
  return std::min(
      {look_time(), glance_time(), sign_time(), end_, journal_->flush_time().value_or(never)});
}

// Sleeps until something has to be done; true when a signal asked to stop. While news wait for
// their frame, more of them wake nobody.
bool Recorder::wait() const {
  const int64_t left = std::max<int64_t>(0, wake_time() - steady_time());
  const timespec timeout{left / second, left % second * 1000};
  std::array<pollfd, 2> sources{
      {{signals_, POLLIN, 0}, {xcb_get_file_descriptor(server_.connection()), POLLIN, 0}}};
  ppoll(sources.data(), frame_ ? 1 : 2, &timeout, nullptr);
  return sources[0].revents != 0;
}

Ending Recorder::run() {
  std::optional<Ending> end;
  GapWatch watch(read_clocks());
  while (!end) {
    mark(watch.rests(read_clocks(), wake_time(), journal_->recorded()));
    const bool stop = wait();
    mark(watch.wakes(read_clocks()));
    if (stop) {
      end = Ending::signal;
      break;
    }
    read_events();
    if (steady_time() >= look_time()) {
      look();
    } else if (steady_time() >= glance_time()) {
      glance();
    }
    if (steady_time() >= sign_time()) journal_->sign_of_life();
    if (steady_time() >= journal_->flush_time().value_or(never)) journal_->flush();
    end = ending();
  }
  if (*end == Ending::signal || *end == Ending::duration) look();
  journal_->finish();
  return *end;
}

void Recorder::mark(const std::vector<Gap> &gaps) {
  for (const Gap &gap : gaps) journal_->gap(gap);
}

// A program that moves the pointer makes no event that every program gets.
void Recorder::glance() {
  look_at_cursor();
  last_glance_ = steady_time();
  read_events();
}

void Recorder::look() {
  read_events();
  if (news_.resized && screen_->resize()) restate_ = true;
  if (news_.drawn || restate_ || screen_->refused()) look_at_picture();
  look_at_cursor();
  look_at_application();
  look_at_input();
  if (!restate_ && journal_->checkpoint_due()) journal_->checkpoint(screen_->picture());
  news_ = {};
  frame_.reset();
  last_look_ = last_glance_ = steady_time();
  // Events that came along with the server's answers wake no poll.
  read_events();
}

void Recorder::look_at_picture() {
  const std::vector<Rectangle> changed = screen_->update();
  if (screen_->refused()) return;
  if (restate_) {
    journal_->checkpoint(screen_->picture());
    restate_ = false;
  } else {
    journal_->changes(screen_->picture(), changed);
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
