// Records a display until something ends it.
#ifndef QOM_RECORD_RECORDER_H
#define QOM_RECORD_RECORDER_H

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "application.h"
#include "cursor.h"
#include "end_watch.h"
#include "gap_watch.h"
#include "journal.h"
#include "options.h"
#include "pace.h"
#include "screen.h"
#include "x_server.h"

namespace qom::record {

// The recorder sleeps until the server tells of an event, then until the next frame's time, and
// then looks at everything at once; when a look takes longer than a frame, the next one follows at
// once. While nothing happens it only asks with each frame where the pointer is, since a program
// can move it without an event, and says every few seconds in the recording that it lives.
class Recorder {
 public:
  // Opens the display, creates the file and writes the first picture. What happens to the process's
  // signals is said at EndWatch. Throws RecordError.
  explicit Recorder(const Options &options);
  ~Recorder() = default;
  Recorder(const Recorder &) = delete;
  Recorder &operator=(const Recorder &) = delete;

  // Records to the end and finishes the file. Throws RecordError when the recording had to be
  // given up; what was recorded before is in the file. Calls `falls_behind` once when it cannot
  // keep the rate.
  Ending run(const std::function<void()> &falls_behind);

  const Screen &screen() const { return *screen_; }
  const Pace &pace() const { return pace_; }

 private:
  // What the events of one frame told.
  struct News {
    bool drawn = false;
    bool resized = false;
    bool shape = false;
    bool input = false;
    bool application = false;

    bool any() const { return drawn || resized || shape || input || application; }
  };

  void watch_window();
  void watch_input();
  void begin();

  // Those that came at `time` or later are looked at in the frame after it.
  void read_events(int64_t time);
  void read_event(const xcb_generic_event_t &event);

  std::optional<Ending> ending() const;
  int64_t look_time() const;
  int64_t glance_time() const { return pace_.frame_after(last_glance_); }
  int64_t sign_time() const;
  int64_t wake_time() const;
  void wait() const;

  void mark(const std::vector<Gap> &gaps);
  void look();
  void glance();
  void look_at_picture();
  void tell_of_film();
  void look_at_cursor();
  void look_at_application();
  void look_at_input();

  Options options_;
  EndWatch ends_;
  XServer server_;
  xcb_window_t window_;
  std::unique_ptr<Screen> screen_;
  std::unique_ptr<ApplicationWatch> application_;
  std::unique_ptr<Journal> journal_;
  News news_;            // since the last look
  bool closed_ = false;  // the recorded window was destroyed
  bool restate_ = true;  // a checkpoint is needed as soon as there is a picture

  Pace pace_;
  int64_t last_look_ = 0;         // when it ended; all times are steady_time()
  int64_t last_glance_ = 0;       // at the place of the pointer
  std::optional<int64_t> frame_;  // when the news are looked at; none while there are none
  int64_t application_asked_ = 0;
  int64_t input_recorded_ = 0;
};

}  // namespace qom::record

#endif
