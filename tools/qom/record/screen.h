// The pixels of the recorded window, kept up to date from what is drawn on it.
#ifndef QOM_RECORD_SCREEN_H
#define QOM_RECORD_SCREEN_H

#include <memory>
#include <optional>
#include <vector>

#include "cell_map.h"
#include "changes.h"
#include "damage.h"
#include "film_areas.h"
#include "film_log.h"
#include "grabber.h"
#include "move_search.h"
#include "picture.h"

namespace qom::record {

class Screen {
 public:
  // The window is asked for its size now. `server` outlives the object; `recording` is the format
  // the pixels will be recorded in, none for the window's own; `film` says what is held back.
  // Throws RecordError.
  Screen(XServer &server, xcb_window_t window, std::optional<PixelFormat> recording,
         const FilmLimits &film);

  PixelFormat recorded_format() const { return recording_; }
  // Bits that the recorded pixels have of the window's depth.
  uint8_t recorded_depth() const;
  // As a reader sees it, but for what was stored with losses.
  const Picture &picture() const { return *picture_; }

  // Asks for the window's size. True when it changed; the picture is a black one of the new size
  // then, and the next update() is due for the whole of it. Throws RecordError when the new size
  // cannot be recorded.
  bool resize();

  // Grabs what was drawn on, takes it over into the picture, and says which parts are different
  // now. Empty when nothing is. What could not be grabbed is tried again by the next update().
  // Without `moves` nobody looks for what only moved, and nothing has losses.
  Changes update(bool moves = true);

  // Takes over what film held back, as it was grabbed last, and says what has to be stored so that
  // a reader has all of that exactly.
  Changes settle();

  // The same before the whole picture is stored: says what of it is to be stored with losses.
  std::vector<Rectangle> settle_film();

  // When film has to be looked at although nothing is drawn; none when all of it is stored.
  std::optional<int64_t> film_due() const;
  // What there is to tell about film since the last call.
  std::vector<FilmStretch> film_stretches();

  // Whether the last update() was refused by the server.
  bool refused() const { return refused_; }

 private:
  void make_picture(int width, int height);
  std::vector<Rectangle> sift(int64_t now);
  std::vector<Rectangle> take_over(const std::vector<Grab> &grabs);

  XServer &server_;
  xcb_window_t window_;
  ImageLayout layout_;
  PixelFormat recording_;
  FilmLimits film_limits_;
  Damage damage_;
  Grabber grabber_;
  bool refused_ = false;
  std::vector<Grab> grabs_;
  MoveSearch moves_;
  std::unique_ptr<Picture> picture_;
  std::unique_ptr<CellMap> drawn_;    // coarse: what to grab
  std::unique_ptr<CellMap> changed_;  // fine: what to record
  std::unique_ptr<FilmAreas> film_;   // null when nothing is held back
  FilmLog film_log_;
};

}  // namespace qom::record

#endif
