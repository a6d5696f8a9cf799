#include "film_cells.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace qom::record {
namespace {

// Rows that a cell is judged by; no letter is lost between two of them.
constexpr std::array<int, 2> judged_rows{1, 5};

// Bytes of pixels, of which each is a channel or empty.
using Row = std::array<uint8_t, size_t{4} * (fine_width + 1)>;
using Sample = std::array<Row, judged_rows.size()>;

// Differences of channels between pixels side by side.
constexpr int most_gentle = 16;    // such as photographs are full of
constexpr int least_strong = 48;   // edges of letters and lines
constexpr int many_gentle = 12;    // so many, or so few pixels that are like the one before,
constexpr int few_repeated = 4;    // are of many colours
constexpr int edged_strong = 6;    // so many strong ones are edges between few colours
constexpr int smooth_gentle = 2;   // and where there are none, so many make a smooth area
constexpr int sudden_change = 32;  // of a colour, where film changes smoothly

enum class Kind { rich, edged, smooth, flat };

// A row of pixels with a byte for each channel; what follows the last one repeats it.
void spread(const uint8_t *pixels, int count, size_t pixel_bytes, uint32_t mask, Row &row) {
  std::array<uint32_t, fine_width + 1> wide;
  if (pixel_bytes == sizeof(uint32_t)) {
    std::memcpy(wide.data(), pixels, count * pixel_bytes);
    for (int i = 0; i < count; i++) wide[i] &= mask;
  } else {
    std::array<uint16_t, fine_width> narrow;
    std::memcpy(narrow.data(), pixels, count * pixel_bytes);
    for (int i = 0; i < count; i++) {
      const uint32_t pixel = narrow[i] & mask;
      wide[i] = (pixel & 0xf800) << 8 | (pixel & 0x7e0) << 5 | (pixel & 0x1f) << 3;
    }
  }
  std::fill(wide.begin() + count, wide.end(), wide[count - 1]);
  std::memcpy(row.data(), wide.data(), row.size());
}

int difference(uint8_t a, uint8_t b) {
  return a < b ? b - a : a - b;
}

Kind kind_of(const Sample &sample) {
  int gentle = 0;
  int strong = 0;
  int repeated = 0;
  for (const Row &row : sample) {
    uint8_t gentle_here = 0;
    uint8_t strong_here = 0;
    for (size_t i = 0; i + 4 < row.size(); i++) {
      const int step = difference(row[i], row[i + 4]);
      gentle_here = static_cast<uint8_t>(gentle_here + (step != 0 && step <= most_gentle));
      strong_here = static_cast<uint8_t>(strong_here + (step >= least_strong));
    }
    for (size_t i = 0; i + 4 < row.size(); i += 4) {
      repeated += std::memcmp(&row[i], &row[i + 4], 4) == 0;
    }
    gentle += gentle_here;
    strong += strong_here;
  }
  if (gentle >= many_gentle || repeated <= few_repeated) return Kind::rich;
  if (strong >= edged_strong) return Kind::edged;
  return gentle >= smooth_gentle ? Kind::smooth : Kind::flat;
}

bool changed_suddenly(const Sample &before, const Sample &now) {
  int most = 0;
  for (size_t row = 0; row < now.size(); row++) {
    for (size_t i = 0; i < now[row].size(); i++) {
      most = std::max(most, difference(before[row][i], now[row][i]));
    }
  }
  return most >= sudden_change;
}

}  // namespace

CellChange FilmCells::change(const CellPixels &before, const CellPixels &now, int width,
                             int height) const {
  Sample old_rows;
  Sample rows;
  for (size_t i = 0; i < judged_rows.size(); i++) {
    const int y = std::min(judged_rows[i], height - 1);
    spread(before.pixels + y * before.stride, width, pixel_bytes_, mask_, old_rows[i]);
    spread(now.pixels + y * now.stride, width, pixel_bytes_, mask_, rows[i]);
  }
  if (rows == old_rows) return CellChange::none;
  const Kind kind = kind_of(rows);
  if (kind == Kind::rich) return CellChange::film;
  if (kind == Kind::edged || changed_suddenly(old_rows, rows)) return CellChange::foreign;
  return kind == Kind::smooth ? CellChange::film : CellChange::dull;
}

}  // namespace qom::record
