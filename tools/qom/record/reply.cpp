#include "reply.h"

namespace qom::record {
namespace {

// What is left of a structure that was received.
class Rest {
 public:
  Rest(const void *first, size_t bytes)
      : next_(static_cast<const uint8_t *>(first)), bytes_(bytes) {}

  // Steps over so many bytes, and returns where they begin; null when there are fewer.
  const void *skip(size_t bytes) {
    if (bytes > bytes_) return nullptr;
    const void *skipped = next_;
    next_ += bytes;
    bytes_ -= bytes;
    return skipped;
  }

 private:
  const uint8_t *next_;
  size_t bytes_;
};

bool skip_screen(Rest &rest) {
  const auto *screen = static_cast<const xcb_screen_t *>(rest.skip(sizeof(xcb_screen_t)));
  if (!screen) return false;
  for (int i = 0; i < screen->allowed_depths_len; i++) {
    const auto *depth = static_cast<const xcb_depth_t *>(rest.skip(sizeof(xcb_depth_t)));
    if (!depth || !rest.skip(sizeof(xcb_visualtype_t) * depth->visuals_len)) return false;
  }
  return true;
}

}  // namespace

bool is_whole(const xcb_get_property_reply_t &property) {
  return uint64_t{property.value_len} * (property.format / 8) <= bytes_behind(property);
}

bool is_whole(const xcb_query_tree_reply_t &tree) {
  return tree.children_len * sizeof(xcb_window_t) <= bytes_behind(tree);
}

bool is_whole(const xcb_xfixes_get_cursor_image_reply_t &image) {
  return uint64_t{image.width} * image.height * sizeof(uint32_t) <= bytes_behind(image);
}

bool is_whole(const xcb_setup_t &setup) {
  constexpr size_t uncounted = 8;  // bytes that the length does not count
  Rest rest(&setup, uncounted + size_t{4} * setup.length);
  const size_t vendor = (size_t{setup.vendor_len} + 3) / 4 * 4;
  if (!rest.skip(sizeof setup) || !rest.skip(vendor)) return false;
  if (!rest.skip(sizeof(xcb_format_t) * setup.pixmap_formats_len)) return false;
  for (int i = 0; i < setup.roots_len; i++) {
    if (!skip_screen(rest)) return false;
  }
  return true;
}

}  // namespace qom::record
