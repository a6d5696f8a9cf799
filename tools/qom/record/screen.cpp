#include "screen.h"

#include "clock.h"
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

Screen::Screen(XServer &server, xcb_window_t window, std::optional<PixelFormat> recording,
               const FilmLimits &film)
    : server_(server),
      window_(window),
      layout_(server.image_layout(window)),
      recording_(recording.value_or(layout_.format)),
      film_limits_(film),
      damage_(server, window),
      grabber_(server, window, layout_) {
  if (film.quality > 0 && (recording_ < xRGB8888 || recording_ > BGRx8888)) {
    throw RecordError("--film lossy needs pixels of 32 bits, not " +
                      std::string(pixel_format_string(recording_)) +
                      "; --pixel-format xRGB8888 records them on any display");
  }
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
  if (!film_limits_.any()) return;
  film_ = std::make_unique<FilmAreas>(width, height, layout_.format, recording_, film_limits_);
}

Changes Screen::update(bool moves) {
  Changes changes;
  const int64_t now = steady_time();
  for (const Rectangle &rectangle : damage_.take()) drawn_->mark(rectangle);
  if (film_) film_->ask(now, *drawn_);
  refused_ = !grabber_.grab(drawn_->rectangles(coarse_gap), grabs_);
  if (refused_) return changes;
  drawn_->clear();
  if (film_ && moves) changes.lossy = sift(now);
  if (moves) changes.copies = moves_.find(*picture_, grabs_);
  if (film_) {
    // What a reader has with losses must not be copied to where it has to be exact.
    std::erase_if(changes.copies, [&](const Copy &copy) { return film_->is_inexact(copy.from); });
  }
  for (const Copy &copy : changes.copies) picture_->copy(copy);
  if (film_) film_->learn(*picture_, grabs_, now);
  changes.exact = take_over(grabs_);
  return changes;
}

// Leaves of the grabs what is stored exactly now, takes over what is stored with losses, and says
// what that is.
std::vector<Rectangle> Screen::sift(int64_t now) {
  std::vector<Rectangle> areas;
  for (const Grab &grab : film_->sift(*picture_, grabs_, now)) {
    picture_->update(grab, *changed_);
    areas.push_back(grab.area);
  }
  return areas;
}

// Takes over the grabs, and says what has to be stored exactly so that a reader has them.
std::vector<Rectangle> Screen::take_over(const std::vector<Grab> &grabs) {
  changed_->clear();
  for (const Grab &grab : grabs) picture_->update(grab, *changed_);
  if (film_) film_->restate(grabs, *changed_);
  return changed_->rectangles(fine_gap);
}

Changes Screen::settle() {
  Changes changes;
  if (film_) changes.exact = take_over(film_->settle());
  return changes;
}

std::vector<Rectangle> Screen::settle_film() {
  if (film_limits_.quality == 0) {
    settle();
    return {};
  }
  for (const Grab &grab : film_->catch_up()) picture_->update(grab, *changed_);
  return film_->inexact();
}

std::optional<int64_t> Screen::film_due() const {
  return film_ ? film_->due() : std::nullopt;
}

std::vector<FilmStretch> Screen::film_stretches() {
  if (!film_) return {};
  return film_log_.update(film_->areas(), steady_time());
}

}  // namespace qom::record
