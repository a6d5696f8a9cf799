#include "film_picture.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "scaling.h"

namespace qomtool {
namespace {

constexpr size_t kMostAreas = 64;

QomRectangle common_part(const QomRectangle &a, const QomPicture &b) {
  const int32_t left = std::clamp<int32_t>(a.x, 0, b.width);
  const int32_t top = std::clamp<int32_t>(a.y, 0, b.height);
  return {left, top, std::clamp<int32_t>(a.x + a.width, 0, b.width) - left,
          std::clamp<int32_t>(a.y + a.height, 0, b.height) - top};
}

// Rows from `begin` to in front of `end`.
struct Rows {
  int32_t begin = INT32_MAX;
  int32_t end = 0;

  void operator|=(const Rows &more) {
    begin = std::min(begin, more.begin);
    end = std::max(end, more.end);
  }
};

bool is_empty(const Rows &rows) {
  return rows.begin >= rows.end;
}

// Puts the pixels of an area into an image. Returns the rows of the image that are others now.
Rows put(const uint8_t *rgb, const QomRectangle &area, RgbImage *image) {
  const size_t stride = static_cast<size_t>(area.width) * 3;
  Rows changed;
  for (int32_t y = area.y; y < area.y + area.height; ++y, rgb += stride) {
    uint8_t *pixels = image->row(static_cast<uint32_t>(y)) + static_cast<size_t>(area.x) * 3;
    if (std::memcmp(pixels, rgb, stride) == 0) continue;
    std::memcpy(pixels, rgb, stride);
    changed |= {y, y + 1};
  }
  return changed;
}

QomRectangle cursor_of(const QomScreen *screen) {
  int32_t x = 0, y = 0;
  const QomCursorImage *cursor = qom_screen_cursor(screen, &x, &y);
  return cursor ? QomRectangle{x, y, cursor->width, cursor->height} : QomRectangle{};
}

}  // namespace

FilmPicture::FilmPicture(PictureSize film, const QomRectangle &frame, Fit fit, bool with_cursor)
    : image_(film),
      frame_(frame),
      fit_(fit),
      with_cursor_(with_cursor),
      screen_({0, 0}),
      changed_{{0, 0, static_cast<int32_t>(film.width), static_cast<int32_t>(film.height)}} {}

std::vector<QomRectangle> FilmPicture::take_changes() {
  return std::exchange(changed_, {});
}

bool FilmPicture::follow(QomScreen *screen) {
  std::vector<QomRectangle> damage = damage_of(screen);
  QomPicture picture;
  if (qom_screen_picture(screen, with_cursor_, &picture) != 0) throw std::bad_alloc();
  const bool resized = is_new_size(picture);
  if (resized) {
    resize(picture);
    damage = {{0, 0, picture.width, picture.height}};
  }
  std::vector<QomRectangle> areas;
  areas.reserve(damage.size());
  for (const QomRectangle &area : damage) areas.push_back(common_part(area, picture));
  if (is_scaled()) return copy_scaled(picture, areas) || resized;
  bool changed = resized;
  for (const QomRectangle &area : areas) changed |= copy(picture, area);
  return changed;
}

// What may look different on the screen.
std::vector<QomRectangle> FilmPicture::damage_of(QomScreen *screen) {
  std::vector<QomRectangle> areas(kMostAreas);
  areas.resize(qom_screen_changes(screen, areas.data(), areas.size()));
  if (!with_cursor_) return areas;
  areas.push_back(std::exchange(cursor_, cursor_of(screen)));
  areas.push_back(cursor_);
  return areas;
}

bool FilmPicture::is_new_size(const QomPicture &picture) const {
  return picture.width != screen_.size.width || picture.height != screen_.size.height;
}

void FilmPicture::resize(const QomPicture &picture) {
  const PictureSize screen = {picture.width, picture.height};
  const PictureSize room = {static_cast<uint32_t>(frame_.width),
                            static_cast<uint32_t>(frame_.height)};
  const bool has_room = screen.width <= room.width && screen.height <= room.height;
  const PictureSize size = fit_ == Fit::natural && has_room ? screen : fitted(screen, room);
  shown_ = {frame_.x + static_cast<int32_t>(room.width - size.width) / 2,
            frame_.y + static_cast<int32_t>(room.height - size.height) / 2,
            static_cast<int32_t>(size.width), static_cast<int32_t>(size.height)};
  screen_ = RgbImage({0, 0});
  screen_.size = screen;
  if (is_scaled()) screen_ = RgbImage(screen);
  place(RgbImage(room), static_cast<uint32_t>(frame_.x), static_cast<uint32_t>(frame_.y), &image_);
  note(frame_);
}

bool FilmPicture::is_scaled() const {
  return static_cast<uint32_t>(shown_.width) != screen_.size.width ||
         static_cast<uint32_t>(shown_.height) != screen_.size.height;
}

// An area of a screen that is shown in its own size.
bool FilmPicture::copy(const QomPicture &picture, const QomRectangle &area) {
  const Rows rows = put(rgb_of_area(picture, area),
                        {shown_.x + area.x, shown_.y + area.y, area.width, area.height}, &image_);
  if (is_empty(rows)) return false;
  note({shown_.x + area.x, rows.begin, area.width, rows.end - rows.begin});
  return true;
}

// Those of another screen. What its rows are scaled to is all that is scaled anew.
bool FilmPicture::copy_scaled(const QomPicture &picture, const std::vector<QomRectangle> &areas) {
  Rows rows;
  for (const QomRectangle &area : areas) rows |= put(rgb_of_area(picture, area), area, &screen_);
  if (is_empty(rows)) return false;
  const int64_t from = screen_.size.height, to = shown_.height;
  const auto begin = static_cast<int32_t>(rows.begin * to / from);
  const auto end = static_cast<int32_t>((rows.end * to + from - 1) / from);
  rgb_.resize(static_cast<size_t>(end - begin) * static_cast<size_t>(shown_.width) * 3);
  scale_rows(screen_, {static_cast<uint32_t>(shown_.width), static_cast<uint32_t>(shown_.height)},
             static_cast<uint32_t>(begin), static_cast<uint32_t>(end), rgb_.data());
  const QomRectangle area = {shown_.x, shown_.y + begin, shown_.width, end - begin};
  if (is_empty(put(rgb_.data(), area, &image_))) return false;
  note(area);
  return true;
}

const uint8_t *FilmPicture::rgb_of_area(const QomPicture &picture, const QomRectangle &area) {
  const size_t stride = static_cast<size_t>(area.width) * 3;
  rgb_.resize(stride * static_cast<size_t>(area.height));
  if (!rgb_.empty()) qom_picture_rgb(&picture, area, rgb_.data(), stride);
  return rgb_.data();
}

}  // namespace qomtool
