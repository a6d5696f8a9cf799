#include "damage.h"

namespace qom::record {

Damage::Damage(XServer &server, xcb_window_t window)
    : server_(server),
      damage_(xcb_generate_id(server.connection())),
      parts_(xcb_generate_id(server.connection())) {
  xcb_damage_create(server.connection(), damage_, window, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
  xcb_xfixes_create_region(server.connection(), parts_, 0, nullptr);
}

Damage::~Damage() {
  xcb_damage_destroy(server_.connection(), damage_);
  xcb_xfixes_destroy_region(server_.connection(), parts_);
}

std::vector<Rectangle> Damage::take() {
  xcb_connection_t *connection = server_.connection();
  xcb_damage_subtract(connection, damage_, XCB_NONE, parts_);
  const auto region =
      reply<xcb_xfixes_fetch_region_reply>(connection, xcb_xfixes_fetch_region(connection, parts_));
  if (!region) return {};
  const xcb_rectangle_t *first = xcb_xfixes_fetch_region_rectangles(region.get());
  const int count = xcb_xfixes_fetch_region_rectangles_length(region.get());
  std::vector<Rectangle> rectangles;
  rectangles.reserve(static_cast<size_t>(count));
  for (int i = 0; i < count; i++) {
    rectangles.push_back({first[i].x, first[i].y, first[i].width, first[i].height});
  }
  return rectangles;
}

}  // namespace qom::record
