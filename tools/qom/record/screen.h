// The pixels of the recorded window, kept up to date from what is drawn on it.
#ifndef QOM_RECORD_SCREEN_H
#define QOM_RECORD_SCREEN_H

#include <memory>
#include <optional>
#include <vector>

#include "cell_map.h"
#include "damage.h"
#include "grabber.h"
#include "move_search.h"
#include "picture.h"

namespace qom::record {

class Screen {
 public:
  // The window is asked for its size now. `server` outlives the object; `recording` is the format
  // the pixels will be recorded in, none for the window's own. Throws RecordError.
  Screen(XServer &server, xcb_window_t window, std::optional<PixelFormat> recording);

  PixelFormat recorded_format() const { return recording_; }
  // Bits that the recorded pixels have of the window's depth.
  uint8_t recorded_depth() const;
  const Picture &picture() const { return *picture_; }

  // Asks for the window's size. True when it changed; the picture is a black one of the new size
  // then, and the next update() is due for the whole of it. Throws RecordError when the new size
  // cannot be recorded.
  bool resize();

  // Grabs what was drawn on, takes it over into the picture, and says which parts are different
  // now. Empty when nothing is. What could not be grabbed is tried again by the next update().
  // With `copies`, those parts that only moved are found and put there, and the rectangles are what
  // still differs after the copies were applied in their order.
  std::vector<Rectangle> update(std::vector<Copy> *copies = nullptr);

  // Whether the last update() was refused by the server.
  bool refused() const { return refused_; }

 private:
  void make_picture(int width, int height);

  XServer &server_;
  xcb_window_t window_;
  ImageLayout layout_;
  PixelFormat recording_;
  Damage damage_;
  Grabber grabber_;
  bool refused_ = false;
  std::vector<Grab> grabs_;
  MoveSearch moves_;
  std::unique_ptr<Picture> picture_;
  std::unique_ptr<CellMap> drawn_;    // coarse: what to grab
  std::unique_ptr<CellMap> changed_;  // fine: what to record
};

}  // namespace qom::record

#endif
