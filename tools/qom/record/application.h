// The application that the person at the display works with.
#ifndef QOM_RECORD_APPLICATION_H
#define QOM_RECORD_APPLICATION_H

#include <string>
#include <vector>

#include "x_server.h"

namespace qom::record {

struct Application {
  std::string window_class;  // as in WM_CLASS, for example "XTerm"
  std::string title;         // UTF-8

  bool operator==(const Application &) const = default;
};

// The text that `format` makes of the application: %c is the class, %t the title, %% a percent
// sign; anything else stands for itself.
std::string application_text(const std::string &format, const Application &application);

// Follows the active window: the one the window manager names, else the one with the input focus,
// else the one under the pointer.
class ApplicationWatch {
 public:
  // With `fixed` the application is always that window's. `server` outlives the watch.
  ApplicationWatch(XServer &server, xcb_window_t fixed);

  // Whether a property that changed, of the root window or of the active one, matters.
  bool concerns(xcb_atom_t property) const;

  // Looks which window is active now, asks for its property changes, and reads its texts. Empty
  // texts when there is none.
  Application look();

  // Whether the active window can change without an event that tells of it.
  bool must_be_asked() const { return fixed_ == XCB_WINDOW_NONE && !manager_tells_; }

 private:
  xcb_window_t active_window();
  xcb_window_t named_by_manager() const;
  xcb_window_t focused() const;
  xcb_window_t under_pointer() const;
  xcb_window_t client_above(xcb_window_t window) const;
  xcb_window_t client_below(xcb_window_t window) const;
  bool has_class(xcb_window_t window) const;
  void follow(xcb_window_t window);
  std::string text(xcb_window_t window, xcb_atom_t property) const;
  std::string title(xcb_window_t window) const;

  XServer &server_;
  xcb_window_t fixed_;
  xcb_window_t followed_ = XCB_WINDOW_NONE;
  bool manager_tells_ = false;  // whether the last active window was named by the manager
  xcb_atom_t active_window_atom_;
  xcb_atom_t utf8_name_atom_;
  xcb_atom_t utf8_atom_;
};

}  // namespace qom::record

#endif
