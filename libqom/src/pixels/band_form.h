// What band_packing.cpp writes and band_unpacking.cpp reads; docs/format.md describes it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qom {

// A block is cut into columns from left to right, the last one narrower, and a column into bands of
// rows from top to bottom.
constexpr size_t column_width = 64;
constexpr size_t most_band_rows = 64;

// How the pixels of a band are stored.
enum BandKind : uint8_t {
  band_repeated = 0,  // rows that are equal to the one above
  band_plain = 1,     // rows of one colour
  band_colours = 2,   // the number of each pixel's colour, one column of pixels after the other
  band_residuals = 3  // in strips
};

// A byte for each band.
constexpr uint8_t band_byte(BandKind kind, size_t rows) {
  return static_cast<uint8_t>(kind << 6 | (rows - 1));
}
constexpr BandKind band_kind(uint8_t byte) {
  return static_cast<BandKind>(byte >> 6);
}
constexpr size_t band_rows(uint8_t byte) {
  return size_t{byte & 63u} + 1;
}

// Numbers of colours take a byte. Where there are more colours the last byte stands for all that
// are not among the first ones, and their numbers follow in two bytes elsewhere.
constexpr size_t most_colours = 0xFFFF;
constexpr size_t most_in_a_byte = 256;
constexpr uint8_t escape = 255;

}  // namespace qom
