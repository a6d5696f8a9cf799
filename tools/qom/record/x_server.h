// The connection to the recorded X server.
#ifndef QOM_RECORD_X_SERVER_H
#define QOM_RECORD_X_SERVER_H

#include <xcb/xcb.h>

#include <string>

#include "end_watch.h"
#include "qom/qom.h"
#include "rectangle.h"
#include "reply.h"

namespace qom::record {

// How the pixels of a drawable are laid out in images of it.
struct ImageLayout {
  PixelFormat format;
  uint8_t depth;
  uint8_t scanline_pad;  // bits
};

// Why nothing can be recorded any more when replies are missing.
inline constexpr const char *server_went_silent = "no answer comes from the X server any more";

class XServer {
 public:
  // Connects to `display` (the environment's when empty) and checks that the server has every
  // extension that recording needs. The connection is guarded by `ends`, which outlives the object.
  // Throws RecordError.
  XServer(const std::string &display, EndWatch &ends);
  ~XServer() { xcb_disconnect(connection_); }
  XServer(const XServer &) = delete;
  XServer &operator=(const XServer &) = delete;

  xcb_connection_t *connection() const { return connection_; }
  const xcb_setup_t *setup() const { return setup_; }
  xcb_window_t root() const { return screen_->root; }

  // Whether the server closed the connection; every reply is none from then on.
  bool gone() const { return xcb_connection_has_error(connection_) != 0; }

  // What extensions' events are told by.
  uint8_t damage_event() const { return damage_event_; }
  uint8_t fixes_event() const { return fixes_event_; }
  uint8_t input_opcode() const { return input_opcode_; }

  xcb_atom_t atom(const char *name) const;

  // Layout of the pixels of `window`. Throws RecordError when there is no such window or when its
  // pixels are of a kind that cannot be recorded.
  ImageLayout image_layout(xcb_window_t window) const;

 private:
  void require_extensions();
  void require_input();
  const xcb_visualtype_t *visual(xcb_visualid_t id) const;

  xcb_connection_t *connection_;
  const xcb_setup_t *setup_ = nullptr;
  const xcb_screen_t *screen_ = nullptr;
  uint8_t damage_event_ = 0;
  uint8_t fixes_event_ = 0;
  uint8_t input_opcode_ = 0;
};

}  // namespace qom::record

#endif
