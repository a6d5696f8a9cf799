// A recording with its screens, for any number of threads.
//
// Its functions are called without the interpreter lock, and each has the recording to itself. Who
// waits for the recording never holds the interpreter lock, so that its holder may ask for that
// one.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "qom/screen.h"
#include "recording.h"

namespace qompython {

struct PictureSize {
  uint16_t width;  // pixels
  uint16_t height;

  bool operator==(const PictureSize &) const = default;
};

struct Shown {
  PictureSize size;
  bool trusted;  // the picture is what was recorded
  bool lossy;    // areas of it are only near that
};

struct Texts {
  std::array<std::optional<std::string>, QOM_TEXT_COUNT> all;
  bool trusted;  // as of the picture of that time
};

// Moments, both ends included, of which something is told: microseconds since the epoch.
struct Period {
  uint64_t from;
  uint64_t to;
};

// When the picture changes, where that was looked for, and whether damage may have hidden a change.
struct Found {
  std::optional<uint64_t> time;
  Period looked_at;
  bool trusted;
};

class Engine {
 public:
  // Recursive, since handlers of signals run during long moves, and may use the recording as well.
  using Lock = std::unique_lock<std::recursive_mutex>;

  // Takes over a reader that was just opened, or null and why; `name` is for messages. Throws what
  // is wrong.
  Engine(qomtool::ReaderPtr reader, const std::string &name);

  // Throws Closed, as every function below does. What is done while it is kept is done in one
  // piece.
  Lock lock();

  // Closes the recording and all screens. Once more does nothing.
  void close();

  bool is_closed() const { return closed_; }
  const std::string &name() const { return name_; }

  // From the first picture, from which times are counted, to the last record: microseconds since
  // the epoch. Without a picture, from the start that the header tells.
  uint64_t first() const { return first_; }
  uint64_t last() const { return last_; }

  // Of the picture that was shown last, at first the header's.
  PictureSize size() const { return size_; }

  // What `qom info --json` tells.
  nlohmann::ordered_json info();

  // Goes to a time, and writes its picture as rows of red, green and blue bytes, when it has the
  // size that is expected.
  Shown show(uint64_t time, bool with_cursor, PictureSize expected, uint8_t *rgb);

  Texts texts(uint64_t time);

  // The areas of the picture at a time that are lossy.
  std::vector<QomRectangle> lossy(uint64_t time);

  // When the picture, or `area` of it, changes next after a time, or did last before it.
  Found next_change(uint64_t time, const QomRectangle *area);
  Found previous_change(uint64_t time, const QomRectangle *area);

  // Where the picture is not to be trusted. Reads the whole file the first time.
  std::vector<QomStretch> untrusted();

  // A screen beside the recording's own, without snapshots; it is the engine's.
  QomScreen *open_screen();
  void close_screen(QomScreen *screen);

  // Brings a screen to a time.
  void go(QomScreen *screen, uint64_t time);

  // When the picture of a screen, which is the engine's, changes next.
  std::optional<uint64_t> change_behind(QomScreen *screen, uint64_t time);

  // Whether the picture of a screen, and what is known of all changes within `period`, is what was
  // recorded.
  bool is_trusted(const QomScreen *screen, const Period &period);

 private:
  struct CloseScreen {
    void operator()(QomScreen *screen) const { qom_screen_close(screen); }
  };
  using ScreenPtr = std::unique_ptr<QomScreen, CloseScreen>;
  using Clock = std::chrono::steady_clock;
  using Search = int (*)(QomScreen *, uint64_t, const QomRectangle *, uint64_t *);

  static int is_time_to_look(void *engine);

  ScreenPtr new_screen(int save_by_hand);
  QomScreen *own_screen();
  const std::vector<QomStretch> &find_untrusted();
  bool meets_untrusted(const Period &period);
  bool can_be_read(const Period &period);
  bool is_trusted(const Period &period);
  std::optional<uint64_t> search(Search find, QomScreen *screen, uint64_t time,
                                 const QomRectangle *area);

  std::recursive_mutex mutex_;
  std::string name_;
  qomtool::Recording recording_;
  ScreenPtr own_;  // opened when it is needed; not every recording can be shown
  std::vector<ScreenPtr> others_;
  std::optional<std::vector<QomStretch>> untrusted_;
  std::vector<bool> sound_;  // records that could be read; empty until it is asked
  uint64_t first_ = 0;
  uint64_t last_ = 0;
  std::atomic<PictureSize> size_;
  std::atomic<bool> closed_ = false;
  Clock::time_point next_look_;  // at signals
};

}  // namespace qompython
