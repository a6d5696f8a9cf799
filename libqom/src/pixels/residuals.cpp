#include "pixels/residuals.h"

#include <algorithm>
#include <cstring>

#include "pixels/strip_form.h"

namespace qom {
namespace {

void store(uint8_t *at, uint32_t four) {
  std::memcpy(at, &four, sizeof four);
}

// The values to predict with: the lower half of a vector, which is what processors calculate with.
typedef int16_t Values __attribute__((vector_size(16)));
typedef uint8_t Bytes __attribute__((vector_size(16)));

constexpr Values centre = {128, 0, 128, 0};
constexpr Values low_byte = {255, 255, 255, 255};

Values from_bytes(uint32_t bytes) {
  typedef uint32_t Words __attribute__((vector_size(16)));
  const Bytes four = reinterpret_cast<Bytes>(Words{bytes, 0, 0, 0});
  return reinterpret_cast<Values>(__builtin_shufflevector(four, Bytes{}, 0, 16, 1, 17, 2, 18, 3, 19,
                                                          4, 20, 5, 21, 6, 22, 7, 23));
}

// Four bytes that lie `distance` apart.
Values gather(const uint8_t *at, size_t distance) {
  typedef uint64_t Halves __attribute__((vector_size(16)));
  const uint64_t lanes = at[0] | uint64_t{at[distance]} << 16 | uint64_t{at[2 * distance]} << 32 |
                         uint64_t{at[3 * distance]} << 48;
  return reinterpret_cast<Values>(Halves{lanes, 0});
}

uint32_t to_bytes(Values values) {
  typedef uint8_t Octet __attribute__((vector_size(8)));
  const Octet bytes = __builtin_convertvector(values & low_byte, Octet);
  uint32_t four;
  std::memcpy(&four, &bytes, sizeof four);
  return four;
}

Values lesser(Values a, Values b) {
  return a < b ? a : b;
}
Values greater(Values a, Values b) {
  return a > b ? a : b;
}

// The pixels left of, above, and left above one. Where there is none, another one stands in.
struct Neighbours {
  Values left;
  Values above;
  Values corner;

  // The median of left, above, and what would continue them in a plane, as JPEG-LS predicts.
  Values predict() const {
    const Values plane = left + above - corner;
    return lesser(greater(plane, lesser(left, above)), greater(left, above));
  }

  // How far they are apart, in all values together.
  int spread() const {
    const Values spread =
        greater(greater(left, above), corner) - lesser(lesser(left, above), corner);
    const Values pairs = spread + __builtin_shufflevector(spread, spread, 1, 0, 3, 2, 4, 5, 6, 7);
    return pairs[0] + pairs[2];
  }
};

// From which spread on a pixel is of each kind.
constexpr int least_spread[residual_kinds] = {0, 3, 14};

// Pixels; rows and blocks may have few.
constexpr size_t least_given_back = 4096;

// Of rows of pixels; `stride` bytes lie from one to the next.
struct Size {
  size_t width;
  size_t height;
};

// Goes over the first row of a rectangle: `pixel(at, neighbours)` gives the values of the pixel
// there.
template <typename Byte, typename Pixel>
void walk_first_row(size_t width, Byte *row, Pixel pixel) {
  Values left = centre;
  for (size_t x = 0; x < width; ++x) left = pixel(row + 4 * x, Neighbours{left, left, left});
}

// Goes over all other rows: `known(at)` gives the values of a pixel that was gone over.
// `begin_row()` is called in front of each row.
template <typename Byte, typename Known, typename Pixel, typename BeginRow>
void walk_other_rows(Size size, Byte *pixels, size_t stride, Known known, Pixel pixel,
                     BeginRow begin_row) {
  for (size_t y = 1; y < size.height; ++y) {
    begin_row();
    const Byte *above = pixels;
    pixels += stride;
    Values left = known(above);
    Values corner = left;
    for (size_t x = 0; x < size.width; ++x) {
      const Values over = known(above + 4 * x);
      left = pixel(pixels + 4 * x, Neighbours{left, over, corner});
      corner = over;
    }
  }
}

void row_to_values(size_t width, uint8_t *pixels) {
  for (size_t x = 0; x < width; ++x)
    store(pixels + 4 * x, to_values(load<uint32_t>(pixels + 4 * x)));
}

void values_to_pixels(Size size, uint8_t *values, size_t stride) {
  for (size_t y = 0; y < size.height; ++y, values += stride)
    for (size_t x = 0; x < size.width; ++x)
      store(values + 4 * x, to_pixel(load<uint32_t>(values + 4 * x)));
}

}  // namespace

bool ResidualReader::open(ByteReader &packed, bool use_up) {
  size_t counts[residual_kinds];
  plane_bytes_ = 0;
  for (size_t &count : counts) plane_bytes_ += count = packed.get<uint32_t>();
  const uint8_t *begin = packed.take(residual_planes * plane_bytes_);
  if (!begin) return false;
  for (size_t kind = 0; kind < residual_kinds; begin = end_[kind++]) {
    next_[kind] = begin;
    end_[kind] = begin + counts[kind];
  }
  uses_up_ = use_up;
  for (size_t kind = 0; use_up && kind < residual_kinds; ++kind)
    for (size_t plane = 0; plane < residual_planes; ++plane)
      used_up_[kind][plane].start(next_[kind] + plane * plane_bytes_);
  return true;
}

void ResidualReader::give_back() {
  kept_ = 0;
  for (size_t kind = 0; kind < residual_kinds; ++kind)
    for (size_t plane = 0; plane < residual_planes; ++plane)
      used_up_[kind][plane].up_to(next_[kind] + plane * plane_bytes_);
}

// Which kind comes next is left to the processor to guess: choosing without a branch takes longer.
bool ResidualReader::unpack(size_t width, size_t rows, uint8_t *pixels, size_t stride, bool below) {
  const uint8_t *calm = next_[0], *livelier = next_[1], *restless = next_[2];
  const uint8_t *const ends[] = {end_[0], end_[1], end_[2]};
  const size_t distance = plane_bytes_;
  bool whole = true;
  const auto take = [&](const uint8_t *&next, const uint8_t *end) {
    if (next != end) return gather(next++, distance);
    whole = false;
    return Values{};
  };
  const auto known = [](const uint8_t *at) { return from_bytes(load<uint32_t>(at)); };
  const auto put_back = [&] { next_[0] = calm, next_[1] = livelier, next_[2] = restless; };
  const auto begin_row = [&] {
    if (!uses_up_ || (kept_ += width) < least_given_back) return;
    put_back();
    give_back();
  };
  const auto pixel = [&](uint8_t *at, const Neighbours &neighbours) {
    const int spread = neighbours.spread();
    Values residual;
    if (spread < least_spread[1])
      residual = take(calm, ends[0]);
    else if (spread < least_spread[2])
      residual = take(livelier, ends[1]);
    else
      residual = take(restless, ends[2]);
    const Values values = (neighbours.predict() + residual) & low_byte;
    store(at, to_bytes(values));
    return values;
  };
  if (below) {
    pixels -= stride;
    row_to_values(width, pixels);
  } else {
    walk_first_row(width, pixels, pixel);
  }
  const Size size = {width, below ? rows + 1 : rows};
  walk_other_rows(size, pixels, stride, known, pixel, begin_row);
  values_to_pixels(size, pixels, stride);
  put_back();
  begin_row();
  return whole;
}

}  // namespace qom
