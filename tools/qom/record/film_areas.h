// Which parts of the picture keep changing like film, and what of them is held back.
#ifndef QOM_RECORD_FILM_AREAS_H
#define QOM_RECORD_FILM_AREAS_H

#include <cstdint>
#include <optional>
#include <vector>

#include "cell_map.h"
#include "film_cells.h"
#include "film_limits.h"
#include "picture.h"

namespace qom::record {

// The picture is divided into tiles, which are judged with every look at what was drawn. A tile
// that changes like film several times in a row is film until it rests, or until something else
// appears in it. What is held back of it is kept here, so that it can be stored whenever it has to
// be. Times are steady_time().
class FilmAreas {
 public:
  // Of a picture of this size and these formats.
  FilmAreas(int width, int height, PixelFormat display, PixelFormat recording,
            const FilmLimits &limits);

  // Marks what has to be grabbed now although nothing needs to have been drawn there.
  void ask(int64_t now, CellMap &drawn);

  // Before moves are searched for: takes out of the grabs, which consist of whole cells of `drawn`,
  // what is film and not to be stored exactly now. Returns what of it is to be stored with losses:
  // parts of the grabs, disjoint.
  std::vector<Grab> sift(const Picture &picture, std::vector<Grab> &grabs, int64_t now);

  // After the moves: learns from what is still different in the grabs that sift() left.
  void learn(const Picture &picture, const std::vector<Grab> &grabs, int64_t now);

  // Marks the cells in the grabs that a reader has with losses, whether or not they differ: they
  // are stored exactly now.
  void restate(const std::vector<Grab> &grabs, CellMap &changed);

  // What a reader does not have exactly, as it was grabbed last; valid until the next call of
  // another member but restate(). It is to be stored exactly now.
  std::vector<Grab> settle();

  // Of what is stored with losses: what a reader does not have as it was grabbed last. It is to be
  // stored with losses now, with inexact(); valid as above.
  std::vector<Grab> catch_up();
  // The tiles that a reader has with losses, as disjoint rectangles.
  std::vector<Rectangle> inexact();

  // Whether a reader has a pixel of the rectangle with losses only.
  bool is_inexact(const Rectangle &area) const;

  // When ask() will have something to mark although nothing is drawn; none while all is stored.
  std::optional<int64_t> due() const { return due_; }

  // The rectangles of which a reader does not have the exact picture.
  std::vector<Rectangle> areas() const;

 private:
  struct Tile {
    int64_t changed = 0;  // when it was last seen to
    int64_t pace = 0;     // the longest time between two changes of the streak
    uint32_t judged = 0;  // number of the look
    uint32_t broken = 0;  // and of the one that found something else in film
    uint8_t streak = 0;   // changes like film, one soon after the other
    uint8_t moving = 0;   // one bit for each cell that changed in them
    bool film = false;
    bool newer = false;    // newest_ has pixels that a reader has not
    bool inexact = false;  // a reader has it with losses

    bool pending() const { return newer || inexact; }
    void reset() {
      streak = moving = 0;
      film = false;
    }
  };
  // Tiles that are film, not far from each other.
  struct Group {
    Rectangle bounds;
    int64_t changed = 0;
    int64_t pace = INT64_MAX / 2;  // of the tile that changes most often
    bool pending = false;

    int64_t rest() const;  // how long nothing changes when it is over
  };
  enum class Fate { exact, lossy, held };

  Rectangle tile_area(size_t place) const;
  size_t index(int column, int row) const { return static_cast<size_t>(row) * columns_ + column; }
  template <class Visit>
  void for_tiles(const Rectangle &area, const Visit &visit);
  void judge(const Picture &picture, const Grab &grab, const Rectangle &area, Tile &tile,
             int64_t now);
  void free_edges(const Rectangle &area);
  // Whether there is no film at the tile any more, or none that still changes.
  bool is_over(size_t place, int64_t now) const;
  void mark_moving(size_t place);
  std::vector<Grab> kept();
  Fate fate(size_t place, int64_t now) const;
  bool withhold(const Grab &grab, int64_t now);
  void schedule(int64_t now);
  void group();
  Group gather(size_t block);
  size_t block_of(size_t place) const;

  static constexpr int tile_width = 2 * fine_width;
  static constexpr int tile_height = 2 * fine_height;

  Rectangle whole_;  // the picture
  int columns_;
  std::vector<Tile> tiles_;
  FilmLimits limits_;
  int64_t interval_;  // between two stored pictures; 0 without a rate
  int64_t longest_pause_;
  Picture newest_;  // pixels of the tiles that say so
  CellMap exact_;   // tiles that are stored exactly, of one grab
  CellMap lossy_;   // cells that are stored with losses, of all
  CellMap unused_;  // what Picture::update() wants
  uint32_t looks_ = 0;
  bool any_film_ = false;
  int64_t next_ = 0;    // when film is stored the next time
  bool stores_ = true;  // whether that is now
  std::optional<int64_t> due_;

  int block_columns_;        // blocks of tiles, of which those side by side make a group
  std::vector<int> labels_;  // of each block: its group; negative when there is none
  std::vector<Group> blocks_;
  std::vector<Group> groups_;
};

}  // namespace qom::record

#endif
