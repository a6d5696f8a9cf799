// Records a display until something ends it.
#ifndef QOM_RECORD_RECORDER_H
#define QOM_RECORD_RECORDER_H

#include <memory>
#include <optional>
#include <string>

#include "application.h"
#include "cursor.h"
#include "gap_watch.h"
#include "journal.h"
#include "options.h"
#include "screen.h"
#include "x_server.h"

namespace qom::record {

enum class Ending {
  signal,         // somebody asked the recorder to stop
  duration,       // the time was up
  server_gone,    // the X server ended
  window_closed,  // the recorded window was destroyed
};

// The recorder sleeps until the server tells of an event, then until the next frame's time, and
// then looks at everything at once. While nothing happens it only asks with each frame where the
// pointer is, since a program can move it without an event, and says every few seconds in the
// recording that it lives.
class Recorder {
 public:
  // Opens the display, creates the file and writes the first picture. From then on the process
  // blocks INT, TERM and HUP, which end the recording, and ignores PIPE and XFSZ, which a server or
  // a disk that fails would send. Throws RecordError.
  explicit Recorder(const Options &options);
  ~Recorder();
  Recorder(const Recorder &) = delete;
  Recorder &operator=(const Recorder &) = delete;

  // Records to the end and finishes the file. Throws RecordError when the recording had to be
  // given up; what was recorded before is in the file.
  Ending run();

  const Screen &screen() const { return *screen_; }

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

  void read_events();
  void read_event(const xcb_generic_event_t &event);

  std::optional<Ending> ending() const;
  int64_t frame_after(int64_t time) const;
  int64_t look_time() const;
  int64_t glance_time() const { return frame_after(last_glance_); }
  int64_t sign_time() const;
  int64_t wake_time() const;
  bool wait() const;

  void mark(const std::vector<Gap> &gaps);
  void look();
  void glance();
  void look_at_picture();
  void look_at_cursor();
  void look_at_application();
  void look_at_input();

  Options options_;
  int signals_;  // file descriptor that tells of INT, TERM and HUP
  XServer server_;
  xcb_window_t window_;
  std::unique_ptr<Screen> screen_;
  std::unique_ptr<ApplicationWatch> application_;
  std::unique_ptr<Journal> journal_;
  News news_;            // since the last look
  bool closed_ = false;  // the recorded window was destroyed
  bool restate_ = true;  // a checkpoint is needed as soon as there is a picture

  int64_t period_;  // of a frame, microseconds; all times are steady_time()
  int64_t start_ = 0;
  int64_t end_;
  int64_t last_look_ = 0;
  int64_t last_glance_ = 0;       // at the place of the pointer
  std::optional<int64_t> frame_;  // when the news are looked at; none while there are none
  int64_t application_asked_ = 0;
  int64_t input_recorded_ = 0;
};

}  // namespace qom::record

#endif
