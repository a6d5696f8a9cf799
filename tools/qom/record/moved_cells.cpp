#include "moved_cells.h"

#include <algorithm>
#include <array>

namespace qom::record {
namespace {

// A copy is worth its place in the recording when it gives so many wanted cells that are not plain:
// those are recorded as cheaply as a copy.
constexpr int least_wanted = 4;

// So many of the areas that were found last may still grow: the ones above and beside.
constexpr std::ptrdiff_t open_areas = 32;

// The rows of a cell by which it is judged: whether it changed, by two between which no letter is
// lost, and whether it moved, by the first and the last one, since they decide how far a copy goes.
constexpr std::array<int, 2> rows_of_change{1, 5};
constexpr std::array<int, 2> rows_of_move{0, 7};
constexpr int row_step = 3;  // of the rows by which a column of pixels is judged

const uint8_t *grabbed_at(const Grab &grab, int x, int y, size_t pixel_bytes) {
  return grab.pixels + (y - grab.area.y) * grab.stride + (x - grab.area.x) * pixel_bytes;
}

// The smallest rectangle that holds all of the grabs.
Rectangle bounding(const std::vector<Grab> &grabs) {
  Rectangle all = grabs.front().area;
  for (const Grab &grab : grabs) {
    const int right = std::max(all.x + all.width, grab.area.x + grab.area.width);
    const int bottom = std::max(all.y + all.height, grab.area.y + grab.area.height);
    all.x = std::min(all.x, grab.area.x);
    all.y = std::min(all.y, grab.area.y);
    all.width = right - all.x;
    all.height = bottom - all.y;
  }
  return all;
}

}  // namespace

MovedCells::MovedCells(const Picture &picture, const std::vector<Grab> &grabs)
    : picture_(picture),
      grabs_(grabs),
      reach_(bounding(grabs)),
      bounds_{reach_.x / fine_width, reach_.y / fine_height,
              (reach_.x + reach_.width + fine_width - 1) / fine_width,
              (reach_.y + reach_.height + fine_height - 1) / fine_height},
      columns_(bounds_.right - bounds_.left),
      comparison_(picture),
      cells_(static_cast<size_t>(columns_) * (bounds_.bottom - bounds_.top)) {
  for_rows(rows_of_change,
           [&](size_t place, int grab, const Rectangle &part, const uint8_t *grabbed) {
             Cell &cell = cells_[place];
             cell.grab = grab;
             if (cell.wanted) return;
             cell.wanted = comparison_.differ(grabbed, picture_.pixels(part.x, part.y), part.width);
           });
}

// Calls visit(index of the cell, index of the grab, place of the pixels, pixels) for these rows of
// each cell, or its last one where it has less.
template <class Visit>
void MovedCells::for_rows(std::span<const int> rows, const Visit &visit) const {
  for (size_t i = 0; i < grabs_.size(); i++) {
    const Rectangle &area = grabs_[i].area;
    const int right = area.x + area.width;
    for (int top = area.y; top < area.y + area.height; top += fine_height) {
      for (const int row : rows) {
        const int y = std::min(top + row, area.y + area.height - 1);
        const uint8_t *grabbed = grabbed_at(grabs_[i], area.x, y, picture_.pixel_bytes());
        size_t place = index(area.x / fine_width, y / fine_height);
        for (int x = area.x; x < right; x += fine_width) {
          const int count = std::min(fine_width, right - x);
          visit(place++, static_cast<int>(i), Rectangle{x, y, count, 1}, grabbed);
          grabbed += count * picture_.pixel_bytes();
        }
      }
    }
  }
}

void MovedCells::compare(Displacement moved) {
  for (Cell &cell : cells_) cell.moved = cell.grab >= 0;
  for_rows(rows_of_move, [&](size_t place, int, const Rectangle &part, const uint8_t *grabbed) {
    Cell &cell = cells_[place];
    if (!cell.moved) return;
    const Rectangle from{part.x - moved.x, part.y - moved.y, part.width, 1};
    cell.moved = in_picture(from) &&
                 !comparison_.differ(grabbed, picture_.pixels(from.x, from.y), from.width);
  });
}

void MovedCells::count_others() {
  const size_t width = columns_ + 1;
  others_.assign(width + cells_.size() / columns_ * width, 0);
  const Cell *cell = cells_.data();
  for (size_t below = width; below < others_.size(); below += width) {
    int others = 0;
    for (size_t right = 1; right < width; right++) {
      others += !(cell++)->moved;
      others_[below + right] = others_[below - width + right] + others;
    }
  }
}

bool MovedCells::in_picture(const Rectangle &from) const {
  return from.x >= 0 && from.y >= 0 && from.x + from.width <= picture_.width() &&
         from.y + from.height <= picture_.height();
}

// Whether all pixels of `area`, anywhere, are grabbed and moved so.
bool MovedCells::moved_here(const Rectangle &area, Displacement moved) const {
  if (intersection(area, reach_) != area) return false;
  if (!in_picture({area.x - moved.x, area.y - moved.y, area.width, area.height})) return false;
  const int right = area.x + area.width;
  for (int y = area.y; y < area.y + area.height; y++) {
    int end;
    for (int x = area.x; x < right; x = end) {
      const int column = x / fine_width;
      end = std::min((column + 1) * fine_width, right);
      const int grab = cells_[index(column, y / fine_height)].grab;
      if (grab < 0) return false;
      const uint8_t *grabbed = grabbed_at(grabs_[grab], x, y, picture_.pixel_bytes());
      if (comparison_.differ(grabbed, picture_.pixels(x - moved.x, y - moved.y), end - x)) {
        return false;
      }
    }
  }
  return true;
}

bool MovedCells::all_moved(const Area &area) const {
  const size_t width = columns_ + 1;
  const int *top = &others_[(area.top - bounds_.top) * width];
  const int *bottom = &others_[(area.bottom - bounds_.top) * width];
  const int left = area.left - bounds_.left;
  const int right = area.right - bounds_.left;
  return bottom[right] - bottom[left] == top[right] - top[left];
}

// Makes one of the areas larger by the run if everything in between moved too and is in no other.
void MovedCells::add_run(std::vector<Area> &areas, const Area &run) const {
  const auto open = areas.end() - std::min(std::ssize(areas), open_areas);
  for (auto area = areas.end(); area != open;) {
    --area;
    const Area both{std::min(area->left, run.left), area->top, std::max(area->right, run.right),
                    run.bottom};
    const auto is_in_the_way = [&](const Area &other) {
      return &other != &*area && other.left < both.right && both.left < other.right &&
             both.top < other.bottom;
    };
    if (!all_moved(both) || std::any_of(open, areas.end(), is_in_the_way)) continue;
    *area = both;
    return;
  }
  areas.push_back(run);
}

// Areas of cells that all moved, with every wanted cell that did.
std::vector<MovedCells::Area> MovedCells::areas() const {
  std::vector<Area> result;
  for (int row = bounds_.top; row < bounds_.bottom; row++) {
    Area run{0, row, 0, row + 1};  // from one wanted cell to another, empty at first
    for (int column = bounds_.left; column < bounds_.right; column++) {
      const Cell &cell = cells_[index(column, row)];
      if (!cell.moved || !cell.wanted) continue;
      const Area longer{run.left, row, column + 1, row + 1};
      if (run.right > run.left && all_moved(longer)) {
        run = longer;
        continue;
      }
      if (run.right > run.left) add_run(result, run);
      run = {column, row, column + 1, row + 1};
    }
    if (run.right > run.left) add_run(result, run);
  }
  return result;
}

// Whether the rows by which the cell, one in a grab, is judged are each of a single colour.
bool MovedCells::is_plain(int column, int row) const {
  const Grab &grab = grabs_[cells_[index(column, row)].grab];
  const int x = column * fine_width;
  const int count = std::min(fine_width, grab.area.x + grab.area.width - x);
  return std::all_of(rows_of_change.begin(), rows_of_change.end(), [&](int part) {
    const int y = std::min(row * fine_height + part, grab.area.y + grab.area.height - 1);
    return comparison_.flat(grabbed_at(grab, x, y, picture_.pixel_bytes()), count);
  });
}

bool MovedCells::pays(const Area &area) const {
  int count = 0;
  for (int row = area.top; row < area.bottom; row++) {
    for (int column = area.left; column < area.right; column++) {
      count += cells_[index(column, row)].wanted && !is_plain(column, row);
      if (count >= least_wanted) return true;
    }
  }
  return false;
}

// Gives the cells of the area to a copy.
void MovedCells::take(const Area &area) {
  for (int row = area.top; row < area.bottom; row++) {
    for (int column = area.left; column < area.right; column++) {
      cells_[index(column, row)].wanted = false;
    }
  }
}

// How many columns of pixels beside the area moved too, by some of its rows and its last one.
int MovedCells::reach_beside(const Rectangle &area, bool right, Displacement moved) const {
  int count = fine_width;
  const int last = area.y + area.height - 1;
  for (int y = area.y; y < last + row_step; y += row_step) {
    while (count > 0 &&
           !moved_here({right ? area.x + area.width : area.x - count, std::min(y, last), count, 1},
                       moved)) {
      count--;
    }
  }
  return count;
}

// Takes in rows and columns of pixels at the sides as long as they moved too, up to a cell.
Rectangle MovedCells::grown(Rectangle area, Displacement moved) const {
  for (int i = 0; i < fine_height; i++) {
    if (!moved_here({area.x, area.y - 1, area.width, 1}, moved)) break;
    area.y--;
    area.height++;
  }
  for (int i = 0; i < fine_height; i++) {
    if (!moved_here({area.x, area.y + area.height, area.width, 1}, moved)) break;
    area.height++;
  }
  // Columns last: they are judged by some of their rows.
  const int left = reach_beside(area, false, moved);
  const int right = reach_beside(area, true, moved);
  return {area.x - left, area.y, area.width + left + right, area.height};
}

void MovedCells::take_copies(Displacement moved, std::vector<Copy> &copies) {
  compare(moved);
  count_others();
  for (const Area &area : areas()) {
    if (!pays(area)) continue;
    take(area);
    const Rectangle cells{area.left * fine_width, area.top * fine_height,
                          (area.right - area.left) * fine_width,
                          (area.bottom - area.top) * fine_height};
    const Rectangle to = grown(intersection(cells, reach_), moved);
    copies.push_back({{to.x - moved.x, to.y - moved.y, to.width, to.height}, to.x, to.y});
  }
}

}  // namespace qom::record
