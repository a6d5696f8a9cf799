#include "pixels/strip_packing.h"

#include <algorithm>
#include <cstring>

#include "base/bytes.h"
#include "pixels/clones.h"
#include "pixels/varint.h"

namespace qom {
namespace {

// Rows of a strip in one plane, each with room in front of it for the pixel to the left.
constexpr size_t lead = 16;
constexpr size_t row_room = lead + strip_width + 16;

using Row = uint8_t[row_room];
struct Plane {
  Row rows[1 + cell_height];  // that above first
  uint8_t *row(size_t y) { return rows[y] + lead; }
};

// The residuals of a strip in one plane.
struct Residuals {
  uint8_t rows[cell_height][strip_width];
};

// The bytes of a pixel, and the first and third one less the second.
enum { first_apart, second, third_apart, fourth, first_less, third_less, all_planes };

QOM_CLONES void planes_of(const uint32_t *__restrict pixels, uint8_t *__restrict first,
                          uint8_t *__restrict middle, uint8_t *__restrict third,
                          uint8_t *__restrict last, uint8_t *__restrict less_first,
                          uint8_t *__restrict less_third) {
  for (size_t i = 0; i < row_room; ++i) {
    const uint32_t pixel = pixels[i];
    first[i] = static_cast<uint8_t>(pixel);
    middle[i] = static_cast<uint8_t>(pixel >> 8);
    third[i] = static_cast<uint8_t>(pixel >> 16);
    last[i] = static_cast<uint8_t>(pixel >> 24);
  }
  for (size_t i = 0; i < row_room; ++i) {
    less_first[i] = static_cast<uint8_t>(first[i] - middle[i] + 128);
    less_third[i] = static_cast<uint8_t>(third[i] - middle[i] + 128);
  }
}

// Residuals of both signs as small numbers: 0, -1, 1, -2, 2 ...
QOM_CLONES void residuals_of(const Row *__restrict rows, Residuals *__restrict to) {
  for (size_t y = 0; y < cell_height; ++y) {
    const uint8_t *above = rows[y] + lead;
    const uint8_t *row = rows[y + 1] + lead;
    const uint8_t *left = row - 1;
    const uint8_t *left_above = above - 1;
    for (size_t x = 0; x < strip_width; ++x) {
      const uint8_t l = left[x];
      const uint8_t a = above[x];
      const uint8_t least = std::min(l, a);
      const uint8_t most = std::max(l, a);
      const uint8_t corner = std::min(std::max(left_above[x], least), most);
      const auto residual = static_cast<uint8_t>(row[x] - l - a + corner);
      to->rows[y][x] = static_cast<uint8_t>((residual << 1) ^ -(residual >> 7));
    }
  }
}

QOM_CLONES uint32_t sum_of(const Residuals *residuals) {
  uint32_t sum = 0;
  const uint8_t *all = residuals->rows[0];
  for (size_t i = 0; i < sizeof(Residuals); ++i) sum += all[i];
  return sum;
}

unsigned depth_of(uint64_t bits) {
  bits |= bits >> 32;
  bits |= bits >> 16;
  bits |= bits >> 8;
  const auto largest = static_cast<uint8_t>(bits);
  return unsigned{largest > 0} + unsigned{largest > 3} + unsigned{largest > 15} +
         unsigned{largest > 63};
}

// Eight bytes of two bits each as two bytes, or of four as four.
constexpr uint64_t join_two(uint64_t bytes) {
  bytes = (bytes | bytes >> 6) & 0x000F000F000F000F;
  bytes = (bytes | bytes >> 12) & 0x000000FF000000FF;
  return (bytes | bytes >> 24) & 0xFFFF;
}
constexpr uint64_t join_four(uint64_t bytes) {
  bytes = (bytes | bytes >> 4) & 0x00FF00FF00FF00FF;
  bytes = (bytes | bytes >> 8) & 0x0000FFFF0000FFFF;
  return (bytes | bytes >> 16) & 0xFFFFFFFF;
}

// Writes the bytes of a cell of eight times four.
void write_cell(const uint64_t (&rows)[cell_height], unsigned depth, uint8_t *to) {
  for (size_t y = 0; y < cell_height; ++y) {
    if (depth == 1) {
      const auto two = static_cast<uint16_t>(join_two(rows[y]));
      std::memcpy(to + 2 * y, &two, 2);
    } else if (depth == 2) {
      const auto four = static_cast<uint32_t>(join_four(rows[y]));
      std::memcpy(to + 4 * y, &four, 4);
    } else {
      std::memcpy(to + 8 * y, &rows[y], 8);
    }
  }
}

}  // namespace

struct StripPacker::Strip {
  size_t width;
  size_t height;
  Residuals residuals[all_planes];
};

bool StripPacker::add(const uint8_t *pixels, size_t stride, size_t width, size_t height,
                      bool has_left, bool has_above) {
  Plane planes[all_planes];
  Strip strip;
  uint32_t words[row_room] = {};
  for (size_t y = 0; y < height; y += cell_height)
    for (size_t x = 0; x < width; x += strip_width) {
      for (Array<uint8_t> &stream : streams_) {
        const size_t needed = stream.size() + sizeof(Residuals);
        if (needed > stream.capacity() && !stream.reserve(needed + stream.size() / 2)) return false;
      }
      strip.width = std::min(strip_width, width - x);
      strip.height = std::min(cell_height, height - y);
      // Pixels outside of the rectangle count as zero.
      const size_t before = x > 0 || has_left ? 1 : 0;
      for (size_t row = 0; row <= strip.height; ++row) {
        if (row == 0 && y == 0 && !has_above) {
          std::memset(words, 0, sizeof words);
        } else {
          const uint8_t *from = pixels + (y + row) * stride - stride + 4 * x - 4 * before;
          words[lead - 1] = 0;
          std::memcpy(words + lead - before, from, 4 * (strip.width + before));
        }
        planes_of(words, planes[first_apart].rows[row], planes[second].rows[row],
                  planes[third_apart].rows[row], planes[fourth].rows[row],
                  planes[first_less].rows[row], planes[third_less].rows[row]);
      }
      for (size_t plane = 0; plane < all_planes; ++plane)
        residuals_of(planes[plane].rows, &strip.residuals[plane]);
      add_strip(strip);
    }
  return true;
}

void StripPacker::add_strip(const Strip &strip) {
  const auto sum = [&](size_t plane) { return sum_of(&strip.residuals[plane]); };
  const bool less = sum(first_less) + sum(third_less) < sum(first_apart) + sum(third_apart);
  const auto put = [this](size_t stream, uint8_t byte) {
    Array<uint8_t> &bytes = streams_[stream];
    bytes.begin()[bytes.size()] = byte;
    bytes.truncate(bytes.size() + 1);
  };
  put(strip_colours, less ? colours_from_second : colours_apart);
  for (size_t cell = 0; cell * cell_width < strip.width; ++cell) {
    const uint8_t one = add_cells(strip, less ? first_less : first_apart, cell);
    const uint8_t two = add_cells(strip, second, cell);
    const uint8_t three = add_cells(strip, less ? third_less : third_apart, cell);
    put(cell_depths_three, join_depths(one, two, three));
    put(cell_depths_fourth, add_cells(strip, fourth, cell));
  }
}

uint8_t StripPacker::add_cells(const Strip &strip, size_t plane, size_t cell) {
  static constexpr size_t plane_of[all_planes] = {0, 1, 2, 3, 0, 2};
  const size_t width = std::min(cell_width, strip.width - cell * cell_width);
  uint64_t rows[cell_height] = {};
  if (width == cell_width && strip.height == cell_height) {
    for (size_t y = 0; y < cell_height; ++y)
      std::memcpy(&rows[y], strip.residuals[plane].rows[y] + cell * cell_width, cell_width);
  } else {
    auto *to = reinterpret_cast<uint8_t *>(rows);
    for (size_t y = 0; y < strip.height; ++y, to += width)
      std::memcpy(to, strip.residuals[plane].rows[y] + cell * cell_width, width);
  }
  const unsigned depth = depth_of(rows[0] | rows[1] | rows[2] | rows[3]);
  if (depth > 0) {
    Array<uint8_t> &stream = streams_[residual_stream(plane_of[plane], depth)];
    write_cell(rows, depth, stream.end());
    stream.truncate(stream.size() + depth_bytes(depth, width * strip.height));
  }
  return static_cast<uint8_t>(depth);
}

size_t StripPacker::bytes() const {
  size_t bytes = 0;
  for (const Array<uint8_t> &stream : streams_)
    bytes += varint_bytes(stream.size()) + stream.size();
  return bytes;
}

bool StripPacker::write(uint8_t *to, Array<size_t> *seams) const {
  ByteWriter writer(to);
  for (const Array<uint8_t> &stream : streams_) put_varint(writer, stream.size());
  for (const Array<uint8_t> &stream : streams_) {
    if (!seams->push(writer.length())) return false;
    writer.put_bytes(stream.data(), stream.size());
  }
  return true;
}

}  // namespace qom
