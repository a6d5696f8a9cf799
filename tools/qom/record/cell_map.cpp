#include "cell_map.h"

#include <algorithm>

namespace qom::record {

CellMap::CellMap(int width, int height, int cell_width, int cell_height)
    : width_(width),
      height_(height),
      cell_width_(cell_width),
      cell_height_(cell_height),
      columns_((width + cell_width - 1) / cell_width),
      rows_((height + cell_height - 1) / cell_height),
      cells_(static_cast<size_t>(columns_) * rows_) {}

void CellMap::mark(const Rectangle &rectangle) {
  const Rectangle inside = intersection(rectangle, {0, 0, width_, height_});
  if (inside.empty()) return;
  const int first = inside.x / cell_width_;
  const int last = (inside.x + inside.width - 1) / cell_width_;
  const int bottom = (inside.y + inside.height - 1) / cell_height_;
  for (int row = inside.y / cell_height_; row <= bottom; row++) {
    std::fill(&cells_[index(first, row)], &cells_[index(last, row)] + 1, uint8_t{1});
  }
}

void CellMap::clear() {
  std::fill(cells_.begin(), cells_.end(), uint8_t{0});
}

std::vector<CellMap::Run> CellMap::runs_of_row(int row, int gap) const {
  std::vector<Run> runs;
  for (int column = 0; column < columns_; column++) {
    if (!cell(column, row)) continue;
    if (!runs.empty() && column - runs.back().end <= gap) {
      runs.back().end = column + 1;
    } else {
      runs.push_back({column, column + 1});
    }
  }
  return runs;
}

std::vector<Rectangle> CellMap::rectangles(int gap) const {
  std::vector<Rectangle> result;
  std::vector<Run> above;
  size_t above_begin = 0;  // rectangles of the row above are result[above_begin...]
  for (int row = 0; row < rows_; row++) {
    std::vector<Run> runs = runs_of_row(row, gap);
    const int top = row * cell_height_;
    const int height = std::min(cell_height_, height_ - top);
    // Rows with the same runs as the one above make its rectangles taller.
    if (!runs.empty() && runs == above) {
      for (size_t i = above_begin; i < result.size(); i++) result[i].height += height;
      continue;
    }
    above_begin = result.size();
    for (const Run &run : runs) {
      const int left = run.first * cell_width_;
      result.push_back({left, top, std::min(run.end * cell_width_, width_) - left, height});
    }
    above = std::move(runs);
  }
  return result;
}

}  // namespace qom::record
