#include "film_areas.h"

#include <algorithm>

#include "clock.h"

namespace qom::record {
namespace {

constexpr uint8_t enough_changes = 4;          // in a row make film
constexpr int64_t longest_pause = second / 2;  // between two of them, or three looks

// Film of which nothing changes for so long, or for half as long again as its pace, is at rest. A
// part of it that alone stands still may do so longer: what an encoder leaves as it is for some
// pictures would cost more than all the others.
constexpr int64_t least_rest = second / 4;
constexpr int64_t rest_of_tile = second;

constexpr int least_broken = 3;  // tiles side by side tell of a menu

constexpr int block_tiles_across = 2;  // blocks of 64x64 pixels
constexpr int block_tiles_down = 4;

// A part of a grab.
Grab part_of(const Grab &grab, const Rectangle &area, size_t pixel_bytes) {
  return {area,
          grab.pixels + (area.y - grab.area.y) * grab.stride + (area.x - grab.area.x) * pixel_bytes,
          grab.stride};
}

// Adds those parts of the grab that lie in the rectangles.
void add_parts(const Grab &grab, const std::vector<Rectangle> &rectangles, size_t pixel_bytes,
               std::vector<Grab> &parts) {
  for (const Rectangle &rectangle : rectangles) {
    const Rectangle area = intersection(rectangle, grab.area);
    if (!area.empty()) parts.push_back(part_of(grab, area, pixel_bytes));
  }
}

int count_up(int size, int step) {
  return (size + step - 1) / step;
}

}  // namespace

int64_t FilmAreas::Group::rest() const {
  return std::max(least_rest, pace + pace / 2);
}

FilmAreas::FilmAreas(int width, int height, PixelFormat display, PixelFormat recording,
                     const FilmLimits &limits)
    : whole_{0, 0, width, height},
      columns_(count_up(width, tile_width)),
      tiles_(static_cast<size_t>(columns_) * count_up(height, tile_height)),
      limits_(limits),
      interval_(limits.rate > 0 ? static_cast<int64_t>(second / limits.rate) : 0),
      longest_pause_(std::max(longest_pause, static_cast<int64_t>(3 * second / limits.looks))),
      newest_(width, height, display, recording),
      exact_(width, height, tile_width, tile_height),
      lossy_(width, height, fine_width, fine_height),
      unused_(width, height, fine_width, fine_height),
      block_columns_(count_up(columns_, block_tiles_across)),
      labels_(static_cast<size_t>(block_columns_) *
              count_up(count_up(height, tile_height), block_tiles_down)),
      blocks_(labels_.size()) {}

Rectangle FilmAreas::tile_area(size_t place) const {
  const auto column = static_cast<int>(place) % columns_;
  const auto row = static_cast<int>(place) / columns_;
  return intersection({column * tile_width, row * tile_height, tile_width, tile_height}, whole_);
}

// Calls visit(place of the tile in tiles_, its area) for each one in the rectangle, which has its
// borders on those of tiles or of the picture.
template <class Visit>
void FilmAreas::for_tiles(const Rectangle &area, const Visit &visit) {
  for (int y = area.y; y < area.y + area.height; y += tile_height) {
    for (int x = area.x; x < area.x + area.width; x += tile_width) {
      const size_t place = index(x / tile_width, y / tile_height);
      visit(place, tile_area(place));
    }
  }
}

void FilmAreas::judge(const Picture &picture, const Grab &grab, const Rectangle &area, Tile &tile,
                      int64_t now) {
  const FilmCells cells(picture);
  const Picture &last = tile.newer ? newest_ : picture;
  int all = 0;
  int like_film = 0;
  uint8_t changed = 0;  // a bit for each
  bool foreign = false;
  for (int y = area.y; y < area.y + area.height; y += fine_height) {
    for (int x = area.x; x < area.x + area.width; x += fine_width) {
      const Rectangle cell = intersection({x, y, fine_width, fine_height}, area);
      const Grab part = part_of(grab, cell, picture.pixel_bytes());
      const CellChange change = cells.change({last.pixels(x, y), last.stride()},
                                             {part.pixels, part.stride}, cell.width, cell.height);
      changed = static_cast<uint8_t>(changed | (change != CellChange::none) << all++);
      like_film += change == CellChange::film;
      foreign |= change == CellChange::foreign;
    }
  }
  tile.judged = looks_;
  if (changed == 0) return;
  if (now - tile.changed > longest_pause_) {
    tile.streak = 0;
    if (!tile.newer) tile.moving = 0;  // else there are cells still to be stored
  }
  tile.pace = tile.streak > 0 ? std::max(tile.pace, now - tile.changed) : 0;
  tile.changed = now;
  if (foreign) {
    if (tile.film) tile.broken = looks_;
    tile.reset();
    return;
  }
  tile.moving |= changed;
  if (2 * like_film >= all && tile.streak < enough_changes) {
    tile.streak++;
  }
  tile.film |= tile.streak == enough_changes;
  any_film_ |= tile.film;
}

// What appeared in several tiles at once also has edges in those beside, too small to tell.
void FilmAreas::free_edges(const Rectangle &area) {
  for_tiles(area, [&](size_t place, const Rectangle &tile) {
    if (tiles_[place].broken != looks_) return;
    const Rectangle around = intersection(
        {tile.x - tile_width, tile.y - tile_height, 3 * tile_width, 3 * tile_height}, whole_);
    int broken = 0;
    for_tiles(around, [&](size_t at, const Rectangle &) { broken += tiles_[at].broken == looks_; });
    if (broken < least_broken) return;
    for_tiles(around, [&](size_t at, const Rectangle &) {
      Tile &beside = tiles_[at];
      if (beside.judged != looks_) return;
      beside.reset();
    });
  });
}

size_t FilmAreas::block_of(size_t place) const {
  const auto column = static_cast<int>(place) % columns_;
  const auto row = static_cast<int>(place) / columns_;
  return static_cast<size_t>(row / block_tiles_down) * block_columns_ + column / block_tiles_across;
}

// Puts the film of the blocks around the given one together with its own.
FilmAreas::Group FilmAreas::gather(size_t block) {
  const auto label = static_cast<int>(groups_.size());
  const int block_rows = static_cast<int>(blocks_.size()) / block_columns_;
  Group group = blocks_[block];
  std::vector<size_t> open{block};
  labels_[block] = label;
  while (!open.empty()) {
    const auto at = static_cast<int>(open.back());
    open.pop_back();
    const Group &here = blocks_[at];
    group = {bounding(group.bounds, here.bounds), std::max(group.changed, here.changed),
             std::min(group.pace, here.pace), group.pending || here.pending};
    const int column = at % block_columns_;
    const int row = at / block_columns_;
    for (int y = std::max(row - 1, 0); y <= std::min(row + 1, block_rows - 1); y++) {
      for (int x = std::max(column - 1, 0); x <= std::min(column + 1, block_columns_ - 1); x++) {
        const size_t next = static_cast<size_t>(y) * block_columns_ + x;
        if (blocks_[next].bounds.empty() || labels_[next] >= 0) continue;
        labels_[next] = label;
        open.push_back(next);
      }
    }
  }
  return group;
}

// Finds the groups of film, and when there is something to do for them.
void FilmAreas::group() {
  groups_.clear();
  due_.reset();
  if (!any_film_) return;
  any_film_ = false;
  std::fill(labels_.begin(), labels_.end(), -1);
  std::fill(blocks_.begin(), blocks_.end(), Group{});
  for_tiles(whole_, [&](size_t place, const Rectangle &area) {
    const Tile &tile = tiles_[place];
    if (!tile.film) return;
    any_film_ = true;
    Group &block = blocks_[block_of(place)];
    block = {block.bounds.empty() ? area : bounding(block.bounds, area),
             std::max(block.changed, tile.changed), std::min(block.pace, tile.pace),
             block.pending || tile.pending()};
  });
  for (size_t block = 0; block < blocks_.size(); block++) {
    if (!blocks_[block].bounds.empty() && labels_[block] < 0) groups_.push_back(gather(block));
  }
  for (const Group &group : groups_) {
    if (group.pending) due_ = std::min(due_.value_or(INT64_MAX), group.changed + group.rest());
  }
}

bool FilmAreas::is_over(size_t place, int64_t now) const {
  const int label = labels_[block_of(place)];
  if (label < 0) return true;
  const Group &group = groups_[label];
  return now - tiles_[place].changed >= std::max(rest_of_tile, group.rest()) ||
         now - group.changed >= group.rest();
}

// Decides whether film is stored in this look. It is in at most so many a second, and in those that
// come next to the times at which it would have to be.
void FilmAreas::schedule(int64_t now) {
  stores_ = now >= next_ - interval_ / 8;
  if (!stores_ || !any_film_) return;
  next_ += interval_;
  if (next_ <= now) next_ = now + interval_;
}

void FilmAreas::ask(int64_t now, CellMap &drawn) {
  looks_++;
  schedule(now);
  if (!any_film_) return;
  for_tiles(whole_, [&](size_t place, const Rectangle &area) {
    const Tile &tile = tiles_[place];
    if (tile.pending() && ((stores_ && tile.newer) || is_over(place, now))) drawn.mark(area);
  });
}

FilmAreas::Fate FilmAreas::fate(size_t place, int64_t now) const {
  const Tile &tile = tiles_[place];
  if (!tile.film || is_over(place, now)) return Fate::exact;
  if (!stores_) return Fate::held;
  if (limits_.quality == 0) return Fate::exact;
  if (tile.changed == now || tile.newer) return Fate::lossy;
  return tile.inexact ? Fate::held : Fate::exact;
}

// Marks the cells of film in lossy_: where one never changes, there is something else beside it.
void FilmAreas::mark_moving(size_t place) {
  const Rectangle area = tile_area(place);
  int cell = 0;
  for (int y = area.y; y < area.y + area.height; y += fine_height) {
    for (int x = area.x; x < area.x + area.width; x += fine_width) {
      if (tiles_[place].moving >> cell++ & 1) lossy_.mark_cell(x / fine_width, y / fine_height);
    }
  }
}

// Says in exact_ and lossy_ what becomes of the tiles of the grab, and keeps the pixels of those
// that are held back. False when all of them are stored exactly.
bool FilmAreas::withhold(const Grab &grab, int64_t now) {
  bool any = false;
  exact_.clear();
  for_tiles(grab.area, [&](size_t place, const Rectangle &area) {
    Tile &tile = tiles_[place];
    const Fate fate = this->fate(place, now);
    any |= fate != Fate::exact;
    // All of it: a change between the rows that a cell is judged by is in no bit of tile.moving.
    if (fate != Fate::exact) newest_.update(part_of(grab, area, newest_.pixel_bytes()), unused_);
    if (fate == Fate::held) {
      if (!tile.inexact || tile.changed == now) tile.newer = true;
      return;
    }
    if (fate == Fate::lossy) {
      mark_moving(place);
      tile.newer = false;
      tile.inexact = true;
      return;
    }
    exact_.mark(area);
    if (tile.film && is_over(place, now)) tile.reset();
  });
  return any;
}

std::vector<Grab> FilmAreas::sift(const Picture &picture, std::vector<Grab> &grabs, int64_t now) {
  std::vector<Grab> lossy;
  if (!any_film_) return lossy;
  for (const Grab &grab : grabs) {
    for_tiles(grab.area, [&](size_t place, const Rectangle &area) {
      if (tiles_[place].film) judge(picture, grab, area, tiles_[place], now);
    });
  }
  for (const Grab &grab : grabs) free_edges(grab.area);
  group();
  lossy_.clear();
  std::vector<Grab> left;
  for (const Grab &grab : grabs) {
    if (!withhold(grab, now)) {
      left.push_back(grab);
    } else {
      add_parts(grab, exact_.rectangles(0), picture.pixel_bytes(), left);
    }
  }
  if (limits_.quality > 0) {
    const std::vector<Rectangle> areas = lossy_.rectangles(0);
    for (const Grab &grab : grabs) add_parts(grab, areas, picture.pixel_bytes(), lossy);
  }
  grabs = std::move(left);
  return lossy;
}

void FilmAreas::learn(const Picture &picture, const std::vector<Grab> &grabs, int64_t now) {
  for (const Grab &grab : grabs) {
    for_tiles(grab.area, [&](size_t place, const Rectangle &area) {
      Tile &tile = tiles_[place];
      if (tile.judged != looks_) judge(picture, grab, area, tile, now);
    });
  }
}

void FilmAreas::restate(const std::vector<Grab> &grabs, CellMap &changed) {
  for (const Grab &grab : grabs) {
    for_tiles(grab.area, [&](size_t place, const Rectangle &area) {
      Tile &tile = tiles_[place];
      if (tile.inexact) changed.mark(area);
      tile.newer = tile.inexact = false;
    });
  }
  group();
}

// The pixels that are kept of the tiles in exact_.
std::vector<Grab> FilmAreas::kept() {
  std::vector<Grab> grabs;
  for (const Rectangle &area : exact_.rectangles(0)) {
    grabs.push_back({area, newest_.pixels(area.x, area.y), newest_.stride()});
  }
  return grabs;
}

std::vector<Grab> FilmAreas::settle() {
  exact_.clear();
  for_tiles(whole_, [&](size_t place, const Rectangle &area) {
    if (tiles_[place].pending()) exact_.mark(area);
  });
  return kept();
}

std::vector<Grab> FilmAreas::catch_up() {
  exact_.clear();
  for_tiles(whole_, [&](size_t place, const Rectangle &area) {
    Tile &tile = tiles_[place];
    if (!tile.newer) return;
    exact_.mark(area);
    tile.newer = false;
    tile.inexact = true;
  });
  return kept();
}

std::vector<Rectangle> FilmAreas::inexact() {
  lossy_.clear();
  for_tiles(whole_, [&](size_t place, const Rectangle &) {
    if (tiles_[place].inexact) mark_moving(place);
  });
  return lossy_.rectangles(0);
}

bool FilmAreas::is_inexact(const Rectangle &area) const {
  const Rectangle inside = intersection(area, whole_);
  if (inside.empty() || limits_.quality == 0 || !any_film_) return false;
  for (int row = inside.y / tile_height; row * tile_height < inside.y + inside.height; row++) {
    const Tile *first = &tiles_[index(inside.x / tile_width, row)];
    const Tile *last = &tiles_[index((inside.x + inside.width - 1) / tile_width, row)];
    if (std::any_of(first, last + 1, [](const Tile &tile) { return tile.inexact; })) return true;
  }
  return false;
}

std::vector<Rectangle> FilmAreas::areas() const {
  std::vector<Rectangle> areas;
  for (const Group &group : groups_) {
    if (group.pending) areas.push_back(group.bounds);
  }
  return areas;
}

}  // namespace qom::record
