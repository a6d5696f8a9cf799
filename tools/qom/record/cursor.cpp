#include "cursor.h"

#include <xcb/xfixes.h>

#include <algorithm>

namespace qom::record {

void select_cursor_events(XServer &server) {
  xcb_xfixes_select_cursor_input(server.connection(), server.root(),
                                 XCB_XFIXES_CURSOR_NOTIFY_MASK_DISPLAY_CURSOR);
}

std::optional<CursorShape> cursor_shape(XServer &server) {
  xcb_connection_t *connection = server.connection();
  const auto image =
      reply<xcb_xfixes_get_cursor_image_reply>(connection, xcb_xfixes_get_cursor_image(connection));
  if (!image) {
    // The server answers with an error while the pointer has no shape at all.
    if (server.gone()) return std::nullopt;
    return CursorShape{};
  }
  if (image->width == 0 || image->height == 0) return CursorShape{};
  CursorShape shape;
  shape.width = std::min<int>(image->width, QOM_MAX_CURSOR_SIDE);
  shape.height = std::min<int>(image->height, QOM_MAX_CURSOR_SIDE);
  shape.hot_x = std::min<int>(image->xhot, shape.width);
  shape.hot_y = std::min<int>(image->yhot, shape.height);
  shape.serial = image->cursor_serial;
  shape.pixels.resize(static_cast<size_t>(shape.width) * shape.height);
  const uint32_t *from = xcb_xfixes_get_cursor_image_cursor_image(image.get());
  for (int row = 0; row < shape.height; row++) {
    std::copy_n(from + static_cast<size_t>(row) * image->width, shape.width,
                shape.pixels.begin() + static_cast<ptrdiff_t>(row) * shape.width);
  }
  return shape;
}

std::optional<CursorPlace> cursor_place(XServer &server, xcb_window_t window) {
  const auto pointer = reply<xcb_query_pointer_reply>(
      server.connection(), xcb_query_pointer(server.connection(), window));
  if (!pointer || !pointer->same_screen) return std::nullopt;
  return CursorPlace{pointer->win_x, pointer->win_y};
}

}  // namespace qom::record
