#include "changes.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "failure.h"

namespace qompython {
namespace {

constexpr size_t kMostRectangles = 64;
constexpr uint32_t kColour = 0xFFFFFF;  // of an xRGB8888 pixel

const uint32_t *row_of(const QomPicture &picture, int32_t y) {
  return reinterpret_cast<const uint32_t *>(picture.pixels +
                                            static_cast<size_t>(y) * picture.stride);
}

// Columns of two rows that differ; empty when none do.
struct Span {
  int32_t begin;
  int32_t end;
};

Span difference(const uint32_t *a, const uint32_t *b, int32_t begin, int32_t end) {
  const auto differs = [a, b](int32_t i) { return ((a[i] ^ b[i]) & kColour) != 0; };
  const size_t bytes = static_cast<size_t>(end - begin) * sizeof *a;
  if (std::memcmp(a + begin, b + begin, bytes) == 0) return {begin, begin};
  while (begin < end && !differs(begin)) ++begin;
  while (begin < end && !differs(end - 1)) --end;
  return {begin, end};
}

}  // namespace

Changes::Changes(Engine &engine, uint64_t from, uint64_t to)
    : engine_(engine),
      screen_(engine.open_screen()),
      last_(std::max<uint64_t>(from, 1) - 1),
      to_(to) {}

Changes::~Changes() {
  engine_.close_screen(screen_);
}

Change Changes::next() {
  const Engine::Lock locked = engine_.lock();
  if (!begun_) begin();
  const std::optional<uint64_t> time = engine_.change_behind(screen_, last_);
  if (!time || *time > to_) {
    const Period rest = {last_ + 1, std::max(last_ + 1, std::min(to_, engine_.last()))};
    return {std::nullopt, {}, rest, last_ >= to_ || engine_.is_trusted(screen_, rest)};
  }
  // What restates the picture is no change, but may make good what was damaged. It is compared for
  // itself, since its rectangle is the whole picture.
  go(*time - 1);
  go(*time);
  const Period known = {last_ + 1, *time};
  last_ = *time;
  return {time, std::exchange(different_, {}), known, engine_.is_trusted(screen_, known)};
}

void Changes::begin() {
  go(last_);
  different_.clear();
  begun_ = true;
}

// Goes on to a time, and notes what differs from the picture that is known, which it then is.
void Changes::go(uint64_t time) {
  engine_.go(screen_, time);
  QomPicture picture;
  if (qom_screen_picture(screen_, 0, &picture) != 0) fail<Error>(engine_.name());
  QomRectangle areas[kMostRectangles];
  const size_t count = qom_screen_changes(screen_, areas, kMostRectangles);
  if (qom_screen_has_picture(screen_) == 0) return;  // the first one is a change as a whole
  if (picture.width == width_ && picture.height == height_) {
    for (size_t i = 0; i < count; ++i) compare(picture, areas[i]);
    return;
  }
  width_ = picture.width;
  height_ = picture.height;
  known_.resize(size_t{width_} * height_);
  for (int32_t y = 0; y < height_; ++y)
    std::copy_n(row_of(picture, y), width_, known_.data() + static_cast<size_t>(y) * width_);
  different_ = {{0, 0, width_, height_}};
}

void Changes::compare(const QomPicture &picture, const QomRectangle &area) {
  QomRectangle bounds = {};
  const int32_t area_end = area.x + area.width;
  for (int32_t y = area.y; y < area.y + area.height; ++y) {
    uint32_t *known = known_.data() + static_cast<size_t>(y) * width_;
    const uint32_t *row = row_of(picture, y);
    const Span span = difference(known, row, area.x, area_end);
    if (span.begin == span.end) continue;
    std::copy(row + span.begin, row + span.end, known + span.begin);
    if (bounds.width == 0) bounds = {span.begin, y, span.end - span.begin, 0};
    const int32_t end = std::max(bounds.x + bounds.width, span.end);
    bounds.x = std::min(bounds.x, span.begin);
    bounds.width = end - bounds.x;
    bounds.height = y + 1 - bounds.y;
  }
  if (bounds.width > 0) different_.push_back(bounds);
}

}  // namespace qompython
