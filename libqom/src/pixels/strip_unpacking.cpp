#include "pixels/strip_unpacking.h"

#include <cstring>

namespace qom {
namespace {

// Four pixels, or one of each row of a strip.
typedef uint8_t Bytes __attribute__((vector_size(16)));
typedef uint32_t Words __attribute__((vector_size(16)));
constexpr size_t lanes = 4;
static_assert(lanes == cell_height);

// A row of pixels with room on both sides for those that lie beside it when rows are restored a
// pixel apart.
constexpr size_t lead = 4;
constexpr size_t row_room = lead + strip_width + 2 * lanes;
using PixelRow = uint32_t[row_room];

// Pixels; rows and blocks may have few.
constexpr size_t least_given_back = 4096;

Words load_four(const uint32_t *at) {
  Words four;
  std::memcpy(&four, at, sizeof four);
  return four;
}

Bytes lesser(Bytes a, Bytes b) {
  return a < b ? a : b;
}
Bytes greater(Bytes a, Bytes b) {
  return a > b ? a : b;
}

// Rows become columns.
void transpose(Words (&four)[lanes]) {
  const Words low01 = __builtin_shufflevector(four[0], four[1], 0, 4, 1, 5);
  const Words high01 = __builtin_shufflevector(four[0], four[1], 2, 6, 3, 7);
  const Words low23 = __builtin_shufflevector(four[2], four[3], 0, 4, 1, 5);
  const Words high23 = __builtin_shufflevector(four[2], four[3], 2, 6, 3, 7);
  four[0] = __builtin_shufflevector(low01, low23, 0, 1, 4, 5);
  four[1] = __builtin_shufflevector(low01, low23, 2, 3, 6, 7);
  four[2] = __builtin_shufflevector(high01, high23, 0, 1, 4, 5);
  four[3] = __builtin_shufflevector(high01, high23, 2, 3, 6, 7);
}

// Restores the four rows of a strip at once: each is a pixel behind the one above it, so that all
// neighbours are there.
class Rows {
 public:
  // The pixels to the left, the one above the first of them, and the row above.
  Rows(Words left, uint32_t corner, const uint32_t *above)
      : left_(left),
        now_(reinterpret_cast<Bytes>(left)),
        above_(reinterpret_cast<Bytes>(
            __builtin_shufflevector(left, Words{corner, 0, 0, 0}, 4, 0, 1, 2))),
        row_above_(above) {}

  // The pixels of four steps, from their residuals; the first one of a row comes in the step of its
  // number.
  template <bool begins>
  void restore(size_t step, Words (&four)[lanes]) {
    const Words over = load_four(row_above_ + step);
    four[0] = next<begins, 0>(over, four[0]);
    four[1] = next<begins, 1>(over, four[1]);
    four[2] = next<begins, 2>(over, four[2]);
    four[3] = next<begins, 3>(over, four[3]);
  }

 private:
  template <bool begins, int step>
  Words next(Words over, Words residuals) {
    const Bytes corner = above_;
    above_ = reinterpret_cast<Bytes>(
        __builtin_shufflevector(reinterpret_cast<Words>(now_), over, 4 + step, 0, 1, 2));
    const Bytes least = lesser(now_, above_);
    const Bytes most = greater(now_, above_);
    now_ =
        now_ + above_ + reinterpret_cast<Bytes>(residuals) - lesser(greater(corner, least), most);
    if constexpr (begins && step < 3) {
      constexpr Words begun = {~0u, step >= 1 ? ~0u : 0, step >= 2 ? ~0u : 0, 0};
      now_ = reinterpret_cast<Bytes>((reinterpret_cast<Words>(now_) & begun) | (left_ & ~begun));
    }
    return reinterpret_cast<Words>(now_);
  }

  Words left_;
  Bytes now_;    // of each row
  Bytes above_;  // the same above
  const uint32_t *row_above_;
};

// One for all pixels, of the second byte of each, where the first and the third are.
Words to_pixels(Words values) {
  const Words second = values >> 8 & 0xFF;
  const Bytes outer = reinterpret_cast<Bytes>(second | second << 16);
  constexpr Words half = {0x00800080, 0x00800080, 0x00800080, 0x00800080};
  return reinterpret_cast<Words>(reinterpret_cast<Bytes>(values) + outer +
                                 reinterpret_cast<Bytes>(half));
}

// Two bytes of two bits each as eight bytes, or four of four.
constexpr uint64_t split_two(uint64_t bytes) {
  bytes = (bytes | bytes << 24) & 0x000000FF000000FF;
  bytes = (bytes | bytes << 12) & 0x000F000F000F000F;
  return (bytes | bytes << 6) & 0x0303030303030303;
}
constexpr uint64_t split_four(uint64_t bytes) {
  bytes = (bytes | bytes << 16) & 0x0000FFFF0000FFFF;
  bytes = (bytes | bytes << 8) & 0x00FF00FF00FF00FF;
  return (bytes | bytes << 4) & 0x0F0F0F0F0F0F0F0F;
}

// Reads the bytes of a cell of eight times four.
void split_cell(const uint8_t *from, unsigned depth, uint64_t (&rows)[cell_height]) {
  for (size_t y = 0; y < cell_height; ++y) {
    if (depth == 1)
      rows[y] = split_two(load<uint16_t>(from + 2 * y));
    else if (depth == 2)
      rows[y] = split_four(load<uint32_t>(from + 4 * y));
    else
      rows[y] = load<uint64_t>(from + 8 * y);
  }
}

// Both signs from the small numbers 0, 1, 2, 3, 4 ...: 0, -1, 1, -2, 2 ...
void to_signed(uint8_t *residuals, size_t count) {
  for (size_t i = 0; i < count; ++i)
    residuals[i] = static_cast<uint8_t>((residuals[i] >> 1) ^ -(residuals[i] & 1));
}

bool get_varint(ByteReader &packed, size_t *number) {
  *number = 0;
  for (unsigned shift = 0; shift < 35; shift += 7) {
    const uint8_t byte = packed.get<uint8_t>();
    *number |= size_t{byte & 127u} << shift;
    if (byte < 128) return packed.ok();
  }
  return false;
}

}  // namespace

struct StripReader::Strip {
  size_t width;
  size_t height;
  bool from_second;
  uint8_t residuals[strip_planes][cell_height][strip_width];
};

bool StripReader::open(ByteReader &packed, bool use_up) {
  size_t lengths[strip_streams];
  for (size_t &length : lengths)
    if (!get_varint(packed, &length)) return false;
  uses_up_ = use_up;
  for (size_t stream = 0; stream < strip_streams; ++stream) {
    next_[stream] = packed.take(lengths[stream]);
    if (!next_[stream]) return false;
    end_[stream] = next_[stream] + lengths[stream];
    if (use_up) used_up_[stream].start(next_[stream]);
  }
  return true;
}

void StripReader::give_back() {
  kept_ = 0;
  for (size_t stream = 0; stream < strip_streams; ++stream) used_up_[stream].up_to(next_[stream]);
}

bool StripReader::read_cell(Strip *strip, size_t plane, size_t cell, unsigned depth) {
  uint8_t *to = strip->residuals[plane][0] + cell * cell_width;
  const size_t width = std::min(cell_width, strip->width - cell * cell_width);
  uint64_t rows[cell_height] = {};
  const bool whole = width == cell_width && strip->height == cell_height;
  if (depth > 0) {
    const size_t stream = residual_stream(plane, depth);
    const size_t bytes = depth_bytes(depth, width * strip->height);
    const uint8_t *from = next_[stream];
    if (static_cast<size_t>(end_[stream] - from) < bytes) return false;
    next_[stream] += bytes;
    uint8_t padded[cell_pixels] = {};
    if (!whole) from = static_cast<uint8_t *>(std::memcpy(padded, from, bytes));
    split_cell(from, depth, rows);
  }
  if (whole) {
    for (size_t y = 0; y < cell_height; ++y) std::memcpy(to + y * strip_width, &rows[y], 8);
  } else {
    const auto *from = reinterpret_cast<const uint8_t *>(rows);
    for (size_t y = 0; y < strip->height; ++y)
      std::memcpy(to + y * strip_width, from + y * width, width);
  }
  return true;
}

bool StripReader::read(Strip *strip) {
  const size_t cells = (strip->width + cell_width - 1) / cell_width;
  for (const size_t stream : {strip_colours, cell_depths_three, cell_depths_fourth})
    if (static_cast<size_t>(end_[stream] - next_[stream]) < (stream == strip_colours ? 1 : cells))
      return false;
  const uint8_t colours = *next_[strip_colours]++;
  if (colours > colours_from_second) return false;
  strip->from_second = colours == colours_from_second;
  for (size_t cell = 0; cell < cells; ++cell) {
    const uint8_t three = *next_[cell_depths_three]++;
    const uint8_t fourth = *next_[cell_depths_fourth]++;
    if (three >= joined_depths || fourth >= cell_depths) return false;
    const unsigned depths = three;
    if (!read_cell(strip, 0, cell, depths / (joined_depths / cell_depths)) ||
        !read_cell(strip, 1, cell, depths / cell_depths % cell_depths) ||
        !read_cell(strip, 2, cell, depths % cell_depths) || !read_cell(strip, 3, cell, fourth))
      return false;
  }
  to_signed(strip->residuals[0][0], sizeof strip->residuals);
  return true;
}

bool StripReader::unpack(size_t width, size_t rows, uint8_t *pixels, size_t stride, bool below) {
  Strip strip;
  PixelRow above = {};
  PixelRow restored[cell_height] = {};
  for (size_t y = 0; y < rows; y += cell_height) {
    const bool is_first = y == 0 && !below;
    for (size_t x = 0; x < width; x += strip_width) {
      strip.width = std::min(strip_width, width - x);
      strip.height = std::min(cell_height, rows - y);
      if (!read(&strip)) return false;
      uint8_t *at = pixels + y * stride + 4 * x;
      const auto values = [&](uint32_t pixel) {
        return strip.from_second ? to_values(pixel) : pixel;
      };
      // Pixels outside of the rectangle count as zero.
      Words left = {};
      if (x > 0)
        for (size_t row = 0; row < strip.height; ++row)
          left[row] = load<uint32_t>(at + row * stride - 4);
      const uint32_t corner = x > 0 && !is_first ? load<uint32_t>(at - stride - 4) : 0;
      if (is_first)
        std::memset(above, 0, sizeof above);
      else
        std::memcpy(above, at - stride, 4 * strip.width);
      if (strip.from_second) {
        for (size_t i = 0; i < strip_width; ++i) above[i] = to_values(above[i]);
        for (size_t row = 0; row < lanes; ++row) left[row] = to_values(left[row]);
      }
      for (size_t row = 0; row < cell_height; ++row)
        for (size_t i = 0; i < strip_width; ++i)
          restored[row][lead + i] = strip.residuals[0][row][i] |
                                    uint32_t{strip.residuals[1][row][i]} << 8 |
                                    uint32_t{strip.residuals[2][row][i]} << 16 |
                                    uint32_t{strip.residuals[3][row][i]} << 24;
      Rows all(left, values(corner), above);
      for (size_t step = 0; step < strip.width + lanes - 1; step += lanes) {
        Words four[lanes];
        for (size_t row = 0; row < lanes; ++row)
          four[row] = load_four(restored[row] + lead + step - row);
        transpose(four);
        if (step == 0)
          all.restore<true>(step, four);
        else
          all.restore<false>(step, four);
        transpose(four);
        for (size_t row = 0; row < lanes; ++row) {
          const Words done = strip.from_second ? to_pixels(four[row]) : four[row];
          std::memcpy(restored[row] + lead + step - row, &done, sizeof done);
        }
      }
      for (size_t row = 0; row < strip.height; ++row)
        std::memcpy(at + row * stride, restored[row] + lead, 4 * strip.width);
      if (uses_up_ && (kept_ += strip.width * strip.height) >= least_given_back) give_back();
    }
  }
  return true;
}

}  // namespace qom
