#include "anchors.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "pixel_comparison.h"

namespace qom::record {
namespace {

// A stripe of pixels of one row is looked at in one go.
constexpr int stripe = 64;

// An anchor: 32 pixels in each of three rows.
constexpr int anchor_width = 32;
constexpr std::array<int, 3> anchor_rows{0, 3, 6};
constexpr int anchor_height = anchor_rows.back() + 1;
constexpr int choice_width = 16;  // pixels that say whether an anchor begins
constexpr int seen = stripe + choice_width;

// One of 8 edges begins an anchor; one of 32 where they would be crowded, as in photographs.
constexpr int choice_bits = 3;
constexpr int strict_bits = 5;
constexpr int crowd = 4;  // in a stripe

constexpr int16_t none = -1;
constexpr int16_t several = -2;

// Factors of the pixels of an anchor, odd and without any regularity.
constexpr auto factors = [] {
  std::array<uint32_t, anchor_rows.size() * anchor_width> result{};
  uint64_t state = 1;
  for (uint32_t &factor : result) {
    state = state * 6364136223846793005u + 1442695040888963407u;
    factor = static_cast<uint32_t>(state >> 32) | 1;
  }
  return result;
}();

// A pixel in 16 bits, which vector instructions multiply well.
template <class Pixel>
uint16_t folded(Pixel pixel) {
  return static_cast<uint16_t>(pixel ^ static_cast<uint32_t>(pixel) >> 13);
}

// Adds to each of the first `count` values the one `distance` behind it, turned so that the order
// counts.
void add_behind(std::array<uint16_t, seen + 8> &values, int distance, int count) {
  for (int i = 0; i < count; i++) {
    values[i] = static_cast<uint16_t>(values[i] + std::rotl(values[i + distance], 4 + distance));
  }
}

// Says for each of the `stripe` pixels from `row` on whether an anchor begins there, by a hash of
// `choice_width` pixels: 0 for no, 1 for yes, 2 if it also does by the strict rule. The hashes are
// made for all of them at once, in steps that double their length; all counts are whole vectors,
// beyond those that are needed. False when there is no edge at all.
template <class Pixel>
bool choose(const uint8_t *row, Pixel mask, std::array<uint8_t, stripe> &chosen) {
  constexpr uint16_t spread = 0x9e35;  // multiplied by it, all bits have a say in the highest
  std::array<uint16_t, seen + 8> hash{};
  std::array<uint16_t, stripe> edge;
  for (int i = 0; i < seen; i++) {
    Pixel pixel;
    std::memcpy(&pixel, row + i * sizeof pixel, sizeof pixel);
    hash[i] = folded(static_cast<Pixel>(pixel & mask));
  }
  uint16_t edges = 0;
  for (int i = 0; i < stripe; i++) edges |= edge[i] = hash[i] ^ hash[i + 1];
  if (edges == 0) return false;
  for (uint16_t &value : hash) value = static_cast<uint16_t>(value * spread);
  add_behind(hash, 1, seen);
  add_behind(hash, 2, seen);
  add_behind(hash, 4, stripe + 8);
  add_behind(hash, 8, stripe);
  for (int i = 0; i < stripe; i++) {
    const auto whole = static_cast<uint16_t>(hash[i] * spread);
    const bool begins = (whole < 1 << (16 - choice_bits)) & (edge[i] != 0);
    chosen[i] = static_cast<uint8_t>(begins + (begins & (whole < 1 << (16 - strict_bits))));
  }
  return true;
}

// The hash of the anchor whose left top pixel is at `pixels`.
template <class Pixel>
uint32_t hash_anchor(const uint8_t *pixels, size_t stride, Pixel mask) {
  uint64_t hash = 0;
  const uint32_t *factor = factors.data();
  for (const int row : anchor_rows) {
    std::array<Pixel, anchor_width> part;
    std::memcpy(part.data(), pixels + row * stride, sizeof part);
    for (int i = 0; i < anchor_width; i++) {
      hash += uint64_t{static_cast<Pixel>(part[i] & mask)} * factor[i];
    }
    factor += anchor_width;
  }
  return static_cast<uint32_t>(hash * 0x9e3779b97f4a7c15u >> 32);
}

// Calls found(i) for each pixel i of the `count` (at most `stripe`) from `row` on where an anchor
// begins. `room` pixels of the row may be read.
template <class Pixel, class Found>
void for_beginnings(const uint8_t *row, int count, int room, Pixel mask, const Found &found) {
  count = std::min(count, room - anchor_width + 1);
  if (count <= 0) return;
  std::array<uint8_t, seen * sizeof(Pixel)> padded{};
  if (room < seen) {
    std::memcpy(padded.data(), row, room * sizeof(Pixel));
    row = padded.data();
  }
  std::array<uint8_t, stripe> chosen;
  if (!choose(row, mask, chosen)) return;
  const bool crowded =
      std::count_if(chosen.begin(), chosen.end(), [](uint8_t one) { return one != 0; }) > crowd;
  constexpr int together = sizeof(uint64_t);
  for (int first = 0; first < count; first += together) {
    uint64_t any;
    std::memcpy(&any, &chosen[first], sizeof any);
    if (any == 0) continue;
    const int end = std::min(first + together, count);
    for (int i = first; i < end; i++) {
      if (chosen[i] > crowded) found(i);
    }
  }
}

}  // namespace

void Anchors::clear(const std::vector<Grab> &grabs) {
  size_t pixels = 0;
  for (const Grab &grab : grabs) pixels += size_t{1} * grab.area.width * grab.area.height;
  // Two places for each anchor that there can be.
  const size_t anchors = pixels / step_ >> (strict_bits - 1);
  table_.assign(std::bit_ceil(2 * anchors + 1), {0, none, none});
  sightings_.clear();
}

void Anchors::add(uint32_t hash, int x, int y) {
  Known &place = known(hash);
  if (place.x == none) {
    place = {hash, static_cast<int16_t>(x), static_cast<int16_t>(y)};
  } else if (place.hash == hash) {
    place.x = several;
  }
}

template <class Pixel>
void Anchors::know(const Picture &picture, const std::vector<Grab> &grabs) {
  const auto mask = static_cast<Pixel>(picture.mask());
  for (const Grab &grab : grabs) {
    const int right = grab.area.x + grab.area.width;
    const int bottom =
        std::min(grab.area.y + grab.area.height, picture.height() - anchor_height + 1);
    for (int y = grab.area.y; y < bottom; y++) {
      // Every row has its stripe in another column.
      for (int left = y % step_ * stripe; left < right; left += step_ * stripe) {
        const int x = std::max(left, grab.area.x);
        const int count = std::min(left + stripe, right) - x;
        const uint8_t *row = picture.pixels(x, y);
        for_beginnings(row, count, picture.width() - x, mask, [&](int i) {
          add(hash_anchor(row + i * sizeof(Pixel), picture.stride(), mask), x + i, y);
        });
      }
    }
  }
}

template <class Pixel>
void Anchors::look_up(const Picture &picture, const std::vector<Grab> &grabs) {
  const PixelComparison comparison(picture);
  const auto mask = static_cast<Pixel>(picture.mask());
  for (const Grab &grab : grabs) {
    const int right = grab.area.x + grab.area.width;
    const int bottom = grab.area.y + grab.area.height - anchor_height + 1;
    const int row_step = step_ - 1;  // no common divisor: the rows meet all stripes
    const int top = (grab.area.y + row_step - 1) / row_step * row_step;
    for (int y = top; y < bottom; y += row_step) {
      for (int x = grab.area.x; x < right; x += stripe) {
        const int count = std::min(stripe, right - x);
        const uint8_t *row =
            grab.pixels + (y - grab.area.y) * grab.stride + (x - grab.area.x) * sizeof(Pixel);
        if (!comparison.differ(row, picture.pixels(x, y), count)) continue;
        for_beginnings(row, count, right - x, mask, [&](int i) {
          const uint32_t hash = hash_anchor(row + i * sizeof(Pixel), grab.stride, mask);
          const Known &old = known(hash);
          if (old.hash != hash || old.x < 0) return;
          const Displacement moved{x + i - old.x, y - old.y};
          if (moved != Displacement{}) sightings_.push_back({moved, x + i, y});
        });
      }
    }
  }
}

const std::vector<Sighting> &Anchors::sightings(const Picture &picture,
                                                const std::vector<Grab> &grabs, int step) {
  step_ = step;
  clear(grabs);
  if (picture.pixel_bytes() == sizeof(uint32_t)) {
    know<uint32_t>(picture, grabs);
    look_up<uint32_t>(picture, grabs);
  } else {
    know<uint16_t>(picture, grabs);
    look_up<uint16_t>(picture, grabs);
  }
  return sightings_;
}

}  // namespace qom::record
