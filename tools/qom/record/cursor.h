// The pointer's shape and place on the recorded window.
#ifndef QOM_RECORD_CURSOR_H
#define QOM_RECORD_CURSOR_H

#include <cstdint>
#include <optional>
#include <vector>

#include "x_server.h"

namespace qom::record {

struct CursorPlace {
  int x;  // of the hot spot, coordinates of the recorded window
  int y;
  bool operator==(const CursorPlace &) const = default;
};

// Never empty: a pointer without a shape is one transparent pixel.
struct CursorShape {
  int width = 1;
  int height = 1;
  int hot_x = 0;
  int hot_y = 0;
  uint32_t serial = 0;
  std::vector<uint32_t> pixels = {0};  // alpha, red, green, blue from the highest byte; the
                                       // colours multiplied by alpha

  bool operator==(const CursorShape &) const = default;
};

// Asks for an event at each change of the shape.
void select_cursor_events(XServer &server);

// The shape now, scaled down when its sides are beyond what a recording holds. None when the server
// is gone.
std::optional<CursorShape> cursor_shape(XServer &server);

// Where the pointer is; none when it is on another screen or the window is no more.
std::optional<CursorPlace> cursor_place(XServer &server, xcb_window_t window);

}  // namespace qom::record

#endif
