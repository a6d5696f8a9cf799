#include "move_search.h"

#include <algorithm>
#include <optional>
#include <span>

namespace qom::record {
namespace {

// Samples are taken of one in so many rows, and each is so many pixels.
constexpr int sample_step = 29;
constexpr int sample_width = fine_width;

// Moves are looked for when there are so many samples, of which a row counts for no more than half:
// a line of text that was typed is no reason.
constexpr int least_samples = 32;

// A displacement that so many sightings agree in and so many samples bear out is looked into.
constexpr int least_sightings = 3;
constexpr int least_moved_samples = 6;

constexpr int most_displacements = 16;  // that are looked into, right or wrong
constexpr size_t most_copies = 64;

// How sparsely anchors may be looked for so that text that moved still gives a handful of
// sightings.
int step_for(size_t samples) {
  int step = 8;
  while (step < 64 && samples > size_t{2} * step * step) step *= 2;
  return step;
}

// Pixels that a copy overwrites although others of these take them from there.
int64_t loss(const Copy &copy, std::span<const Copy> others) {
  int64_t pixels = 0;
  for (const Copy &other : others) {
    const Rectangle lost = intersection(copy.to(), other.from);
    if (&other != &copy && !lost.empty()) pixels += int64_t{lost.width} * lost.height;
  }
  return pixels;
}

// Puts a copy after those that take something from where it goes to, as far as they do not want
// that of each other.
void put_in_order(std::vector<Copy> &copies) {
  for (auto first = copies.begin(); first != copies.end(); ++first) {
    const std::span<const Copy> left(first, copies.end());
    const auto next = std::min_element(first, copies.end(), [&](const Copy &a, const Copy &b) {
      return loss(a, left) < loss(b, left);
    });
    std::rotate(first, next, next + 1);
  }
}

// Keeps those that give most: so many, and no more pixels than the picture has, which is what one
// record may copy.
void keep_largest(std::vector<Copy> &copies, const Picture &picture) {
  const auto pixels = [](const Copy &copy) { return int64_t{copy.from.width} * copy.from.height; };
  std::sort(copies.begin(), copies.end(),
            [&](const Copy &a, const Copy &b) { return pixels(a) > pixels(b); });
  if (copies.size() > most_copies) copies.resize(most_copies);
  int64_t room = int64_t{picture.width()} * picture.height();
  const auto end = std::find_if(copies.begin(), copies.end(), [&](const Copy &copy) {
    room -= pixels(copy);
    return room < 0;
  });
  copies.erase(end, copies.end());
}

// The displacement that most of the sorted sightings agree in; none when they are too few.
std::optional<Displacement> favourite(const std::vector<Sighting> &sightings) {
  std::optional<Displacement> best;
  int most = least_sightings - 1;
  for (auto first = sightings.begin(); first != sightings.end();) {
    const auto end = std::find_if(first, sightings.end(), [&](const Sighting &sighting) {
      return sighting.moved != first->moved;
    });
    if (end - first > most) {
      most = static_cast<int>(end - first);
      best = first->moved;
    }
    first = end;
  }
  return best;
}

}  // namespace

// Takes samples of what changed.
bool MoveSearch::pays(const Picture &picture, const std::vector<Grab> &grabs) {
  const PixelComparison comparison(picture);
  const size_t pixel_bytes = picture.pixel_bytes();
  size_t counted = 0;
  samples_.clear();
  for (const Grab &grab : grabs) {
    const int right = grab.area.x + grab.area.width;
    const int top = (grab.area.y + sample_step - 1) / sample_step * sample_step;
    for (int y = top; y < grab.area.y + grab.area.height; y += sample_step) {
      const size_t before = samples_.size();
      const uint8_t *row = grab.pixels + (y - grab.area.y) * grab.stride;
      for (int x = grab.area.x; x + sample_width <= right; x += sample_width) {
        const uint8_t *pixels = row + (x - grab.area.x) * pixel_bytes;
        if (comparison.differ(pixels, picture.pixels(x, y), sample_width) &&
            !comparison.flat(pixels, sample_width)) {
          samples_.push_back({x, y, pixels});
        }
      }
      counted += std::min<size_t>(samples_.size() - before, least_samples / 2);
    }
  }
  return counted >= least_samples;
}

bool MoveSearch::moved_much(const Picture &picture, Displacement moved) const {
  const PixelComparison comparison(picture);
  int count = 0;
  for (const Sample &sample : samples_) {
    const int x = sample.x - moved.x;
    const int y = sample.y - moved.y;
    if (x < 0 || y < 0 || x + sample_width > picture.width() || y >= picture.height()) continue;
    count += !comparison.differ(sample.pixels, picture.pixels(x, y), sample_width);
    if (count >= least_moved_samples) return true;
  }
  return false;
}

std::vector<Copy> MoveSearch::find(const Picture &picture, const std::vector<Grab> &grabs) {
  std::vector<Copy> copies;
  if (!pays(picture, grabs)) return copies;
  std::vector<Sighting> sightings = anchors_.sightings(picture, grabs, step_for(samples_.size()));
  std::sort(sightings.begin(), sightings.end());
  std::optional<MovedCells> cells;  // made when there is something to look into
  for (int tries = 0; tries < most_displacements; tries++) {
    const std::optional<Displacement> moved = favourite(sightings);
    if (!moved) break;
    if (moved_much(picture, *moved)) {
      if (!cells) cells.emplace(picture, grabs);
      cells->take_copies(*moved, copies);
      const auto had = [&](const auto &place) { return !cells->wanted(place.x, place.y); };
      std::erase_if(samples_, had);
      std::erase_if(sightings, had);
    }
    std::erase_if(sightings, [&](const Sighting &one) { return one.moved == *moved; });
  }
  keep_largest(copies, picture);
  put_in_order(copies);
  return copies;
}

}  // namespace qom::record
