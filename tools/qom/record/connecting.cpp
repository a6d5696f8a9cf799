#include "connecting.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <thread>

#include "clock.h"
#include "error.h"

namespace qom::record {
namespace {

// Shared with the thread that connects, which may outlive the attempt.
struct Attempt {
  explicit Attempt(const std::string &name) : display(name), done(eventfd(0, EFD_CLOEXEC)) {}
  ~Attempt() { close(done); }
  Attempt(const Attempt &) = delete;
  Attempt &operator=(const Attempt &) = delete;

  const std::string display;
  const int done;  // readable when there is a connection
  int screen_number = 0;
  std::atomic<xcb_connection_t *> connection = nullptr;
};

}  // namespace

xcb_connection_t *connect_to(const std::string &display, int &screen_number, const EndWatch &ends) {
  const auto attempt = std::make_shared<Attempt>(display);
  if (attempt->done < 0) throw RecordError("the system gives no descriptor for connecting");
  // Nothing can end xcb_connect() but the server, so a thread of its own waits in it; it ends with
  // the process when the server never answers.
  std::thread([attempt] {
    attempt->connection = xcb_connect(attempt->display.c_str(), &attempt->screen_number);
    eventfd_write(attempt->done, 1);
  }).detach();
  while (!attempt->connection && !ends.ended()) ends.sleep(steady_time() + second, attempt->done);
  if (!attempt->connection) {
    throw RecordError("cannot open display \"" + display +
                      "\": no answer came from the X server before the recording was to end");
  }
  screen_number = attempt->screen_number;
  return attempt->connection;
}

}  // namespace qom::record
