#include "cursor.h"

#include <xcb/xfixes.h>

#include <algorithm>

#include "cursor_scaling.h"

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
  const size_t pixels = size_t{image->width} * image->height;
  if (pixels == 0 || image->length < pixels) return CursorShape{};
  CursorShape shape;
  shape.width = image->width;
  shape.height = image->height;
  shape.hot_x = std::min(image->xhot, image->width);
  shape.hot_y = std::min(image->yhot, image->height);
  shape.serial = image->cursor_serial;
  const uint32_t *from = xcb_xfixes_get_cursor_image_cursor_image(image.get());
  shape.pixels.assign(from, from + pixels);
  return scaled_to_fit(std::move(shape), QOM_MAX_CURSOR_SIDE);
}

std::optional<CursorPlace> cursor_place(XServer &server, xcb_window_t window) {
  const auto pointer = reply<xcb_query_pointer_reply>(
      server.connection(), xcb_query_pointer(server.connection(), window));
  if (!pointer || !pointer->same_screen) return std::nullopt;
  return CursorPlace{pointer->win_x, pointer->win_y};
}

}  // namespace qom::record
