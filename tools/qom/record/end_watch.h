// Watches for what ends a recording from outside, also while the X server does not answer.
#ifndef QOM_RECORD_END_WATCH_H
#define QOM_RECORD_END_WATCH_H

#include <cstdint>
#include <optional>
#include <thread>

namespace qom::record {

enum class Ending {
  signal,         // somebody asked the recorder to stop
  duration,       // the time was up
  server_gone,    // the X server ended
  window_closed,  // the recorded window was destroyed
};

// XCB cannot be interrupted while it waits for a server that another program has grabbed, that is
// stopped, or that sends half a reply. A thread therefore cuts the connection when the recorder is
// not done with the server some time after the end; whoever waits in XCB then finds it gone.
class EndWatch {
 public:
  // From now on the process blocks INT, TERM and HUP, which end the recording, as often as they
  // come (HUP does not when it is ignored already, as nohup(1) does); it ignores PIPE and XFSZ,
  // which a server or a disk that fails would send. Throws RecordError.
  EndWatch();
  ~EndWatch();
  EndWatch(const EndWatch &) = delete;
  EndWatch &operator=(const EndWatch &) = delete;

  // The recording's time is up then (steady_time()).
  void end_at(int64_t time);

  // Cuts this connection two seconds after the end; the descriptor stays the caller's. Called once.
  // Throws RecordError.
  void guard(int connection);

  // Sleeps until `until` (steady_time()), until the recording is to end, or until there is
  // something to read from `descriptor`, which is left out when it is negative.
  void sleep(int64_t until, int descriptor) const;

  // What ended the recording: a signal or its duration; none while it is to go on.
  std::optional<Ending> ended() const;

 private:
  void watch(int connection) const;

  // Nobody reads from the first two: they stay readable from the end on.
  int signals_;
  int timer_;
  int released_;         // readable when the thread is to end
  int connection_ = -1;  // the thread's own descriptor of it
  std::thread thread_;
};

}  // namespace qom::record

#endif
