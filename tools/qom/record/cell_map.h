// A picture divided into cells, each marked or not.
#ifndef QOM_RECORD_CELL_MAP_H
#define QOM_RECORD_CELL_MAP_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "rectangle.h"

namespace qom::record {

class CellMap {
 public:
  // A picture of width x height pixels in cells of cell_width x cell_height pixels; the
  // cells of the last column and row may stand out of the picture.
  CellMap(int width, int height, int cell_width, int cell_height);

  int cell_width() const { return cell_width_; }
  int cell_height() const { return cell_height_; }

  // Marks every cell that the rectangle touches; what lies outside the picture is ignored.
  void mark(const Rectangle &rectangle);
  void mark_cell(int column, int row) { cells_[index(column, row)] = 1; }
  bool cell(int column, int row) const { return cells_[index(column, row)] != 0; }
  void clear();

  // Disjoint rectangles, from the top down, that together hold every marked cell, clipped to
  // the picture. Up to `gap` unmarked cells in a row are taken in between two marked ones, so
  // that there are fewer rectangles.
  std::vector<Rectangle> rectangles(int gap) const;

 private:
  struct Run {
    int first;
    int end;
    bool operator==(const Run &) const = default;
  };

  size_t index(int column, int row) const { return static_cast<size_t>(row) * columns_ + column; }
  std::vector<Run> runs_of_row(int row, int gap) const;

  int width_;
  int height_;
  int cell_width_;
  int cell_height_;
  int columns_;
  int rows_;
  std::vector<uint8_t> cells_;
};

}  // namespace qom::record

#endif
