#include "screen.h"

#include "error.h"

namespace qom::record {
namespace {

// Whole numbers of fine cells.
constexpr int coarse_width = 64;
constexpr int coarse_height = 16;

// Unchanged cells between changed ones cost less to record than the head of one more rectangle and
// the break in the rows that are compressed.
constexpr int fine_gap = 2;
constexpr int coarse_gap = 1;

std::string size_text(int width, int height) {
  return std::to_string(width) + "x" + std::to_string(height);
}

}  // namespace

Screen::Screen(XServer &server, xcb_window_t window, std::optional<PixelFormat> recording)
    : server_(server),
      window_(window),
      layout_(server.image_layout(window)),
      recording_(recording.value_or(layout_.format)),
      damage_(server, window),
      grabber_(server, window, layout_) {
  if (!resize()) throw RecordError("the window is gone");
}

uint8_t Screen::recorded_depth() const {
  const size_t pixel_bits = 8 * pixel_format_bytes_per_pixel(recording_);
  return std::min(layout_.depth, static_cast<uint8_t>(pixel_bits));
}

bool Screen::resize() {
  const auto geometry = reply<xcb_get_geometry_reply>(
      server_.connection(), xcb_get_geometry(server_.connection(), window_));
  if (!geometry) return false;
  const int width = geometry->width;
  const int height = geometry->height;
  if (picture_ && picture_->width() == width && picture_->height() == height) return false;
  const size_t bytes = size_t{4} * width * height;
  if (std::max(width, height) > static_cast<int>(QOM_MAX_SIDE) || bytes > QOM_MAX_DATA) {
    throw RecordError("a size of " + size_text(width, height) + " is too large to be recorded");
  }
  make_picture(width, height);
  return true;
}

void Screen::make_picture(int width, int height) {
  picture_ = std::make_unique<Picture>(width, height, layout_.format, recording_);
  drawn_ = std::make_unique<CellMap>(width, height, coarse_width, coarse_height);
  changed_ = std::make_unique<CellMap>(width, height, fine_width, fine_height);
  drawn_->mark({0, 0, width, height});
}

std::vector<Rectangle> Screen::update(std::vector<Copy> *copies) {
  if (copies) copies->clear();
  for (const Rectangle &rectangle : damage_.take()) drawn_->mark(rectangle);
  refused_ = !grabber_.grab(drawn_->rectangles(coarse_gap), grabs_);
  if (refused_) return {};
  drawn_->clear();
  changed_->clear();
  if (copies) {
    *copies = moves_.find(*picture_, grabs_);
    for (const Copy &copy : *copies) picture_->copy(copy);
  }
  for (const Grab &grab : grabs_) picture_->update(grab, *changed_);
  return changed_->rectangles(fine_gap);
}

}  // namespace qom::record
