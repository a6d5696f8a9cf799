// What of newly grabbed pixels can be had from the last picture by moving parts of it.
#ifndef QOM_RECORD_MOVED_CELLS_H
#define QOM_RECORD_MOVED_CELLS_H

#include <cstdint>
#include <span>
#include <vector>

#include "anchors.h"
#include "picture.h"
#include "pixel_comparison.h"

namespace qom::record {

// Works on the cells in which changes are recorded. They are judged by a few of their rows: whoever
// copies compares all pixels afterwards.
class MovedCells {
 public:
  // Compares the grabs with the picture; both outlive the object and stay as they are meanwhile.
  // The grabs are as Picture::update() wants them.
  MovedCells(const Picture &picture, const std::vector<Grab> &grabs);

  // Whether the cell of this pixel, which is inside a grab, changed, and no copy gives it yet.
  bool wanted(int x, int y) const { return cells_[index(x / fine_width, y / fine_height)].wanted; }

  // Finds the rectangles that stood so much elsewhere in the old picture and give enough wanted
  // cells, and adds what copies them. They lie inside the grabs.
  void take_copies(Displacement moved, std::vector<Copy> &copies);

 private:
  struct Cell {
    int grab = -1;  // its index; negative when the cell is in none
    bool wanted = false;
    bool moved = false;  // by the displacement that is looked into
  };
  struct Area {  // of cells
    int left;
    int top;
    int right;
    int bottom;
  };

  size_t index(int column, int row) const {
    return static_cast<size_t>(row - bounds_.top) * columns_ + column - bounds_.left;
  }
  template <class Visit>
  void for_rows(std::span<const int> rows, const Visit &visit) const;
  void compare(Displacement moved);
  void count_others();
  bool in_picture(const Rectangle &from) const;
  bool moved_here(const Rectangle &area, Displacement moved) const;
  bool all_moved(const Area &area) const;
  void add_run(std::vector<Area> &areas, const Area &run) const;
  std::vector<Area> areas() const;
  bool is_plain(int column, int row) const;
  bool pays(const Area &area) const;
  void take(const Area &area);
  int reach_beside(const Rectangle &area, bool right, Displacement moved) const;
  Rectangle grown(Rectangle area, Displacement moved) const;

  const Picture &picture_;
  const std::vector<Grab> &grabs_;
  Rectangle reach_;  // holds all grabs
  Area bounds_;      // its cells; there are no others
  int columns_;
  PixelComparison comparison_;
  std::vector<Cell> cells_;
  // Of one displacement: how many cells above and to the left of a cell's corner did not move so.
  std::vector<int> others_;
};

}  // namespace qom::record

#endif
