// What strip_packing.cpp writes and strip_unpacking.cpp reads; docs/format.md describes it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qom {

// A rectangle is cut into strips, row by row from its top-left corner, and a strip into cells; the
// last ones of a row and those at the lower edge are smaller.
constexpr size_t cell_width = 8;
constexpr size_t cell_height = 4;
constexpr size_t strip_cells = 8;
constexpr size_t strip_width = cell_width * strip_cells;
constexpr size_t cell_pixels = cell_width * cell_height;

constexpr size_t strip_planes = 4;  // one for each byte of a pixel

// What the values of a strip's pixels are.
enum StripColours : uint8_t {
  colours_apart = 0,       // their bytes
  colours_from_second = 1  // first and third byte less the second one, and 128; the others as above
};

// The bits that each residual of a cell takes in a plane: as many as its largest needs. Those of
// bytes are kept apart by whether they need all bits, since each kind compresses better alone.
constexpr unsigned cell_depths = 5;
constexpr unsigned depth_bits[cell_depths] = {0, 2, 4, 8, 8};
constexpr size_t depth_bytes(unsigned depth, size_t pixels) {
  return (pixels * depth_bits[depth] + 7) / 8;
}

// The streams of bytes: colours of strips, depths of cells in the first three planes, depths in
// the fourth, and for each plane the residuals of each depth but the first.
enum StripStream : size_t { strip_colours, cell_depths_three, cell_depths_fourth, first_residuals };
constexpr size_t strip_streams = first_residuals + strip_planes * (cell_depths - 1);
constexpr size_t residual_stream(size_t plane, unsigned depth) {
  return first_residuals + plane * (cell_depths - 1) + depth - 1;
}

// Depths in three planes are one byte.
constexpr uint8_t join_depths(unsigned first, unsigned second, unsigned third) {
  return static_cast<uint8_t>((first * cell_depths + second) * cell_depths + third);
}
constexpr unsigned joined_depths = cell_depths * cell_depths * cell_depths;

// Values of a pixel, as four bytes, two of which are calculated with at a time.
constexpr uint32_t outer_bytes = 0x00FF00FF;

constexpr uint32_t second_twice(uint32_t bytes) {
  return (bytes >> 8 & 0xFF) * 0x00010001;
}
constexpr uint32_t to_values(uint32_t pixel) {
  const uint32_t outer = (pixel & outer_bytes) + 0x01800180 - second_twice(pixel);
  return (outer & outer_bytes) | (pixel & ~outer_bytes);
}
constexpr uint32_t to_pixel(uint32_t values) {
  const uint32_t outer = (values & outer_bytes) + 0x00800080 + second_twice(values);
  return (outer & outer_bytes) | (values & ~outer_bytes);
}

}  // namespace qom
