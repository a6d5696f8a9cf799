// Which parts of a window have been drawn on.
#ifndef QOM_RECORD_DAMAGE_H
#define QOM_RECORD_DAMAGE_H

#include <xcb/damage.h>
#include <xcb/xfixes.h>

#include <vector>

#include "rectangle.h"
#include "x_server.h"

namespace qom::record {

// The server collects the damage and sends a single event when there is some; it sends the next
// one only after the damage was taken. However much is drawn, the recorder is woken once a frame.
class Damage {
 public:
  // Everything counts as drawn at first. `server` outlives the object.
  Damage(XServer &server, xcb_window_t window);
  ~Damage();
  Damage(const Damage &) = delete;
  Damage &operator=(const Damage &) = delete;

  // Rectangles drawn on since the last call, coordinates of the window; may overlap it.
  std::vector<Rectangle> take();

 private:
  XServer &server_;
  xcb_damage_damage_t damage_;
  xcb_xfixes_region_t parts_;
};

}  // namespace qom::record

#endif
