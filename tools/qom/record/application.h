// The application that the person at the display works with.
#ifndef QOM_RECORD_APPLICATION_H
#define QOM_RECORD_APPLICATION_H

#include <optional>
#include <string>
#include <vector>

#include "property_text.h"
#include "x_server.h"

namespace qom::record {

struct Application {
  std::string window_class;  // as in WM_CLASS, for example "XTerm"
  std::string title;         // UTF-8

  bool operator==(const Application &) const = default;
};

// The text that `format` makes of the application: %c is the class, %t the title, %% a percent
// sign; anything else stands for itself. When the format asks for one that is missing, the other
// one alone is the text.
std::string application_text(const std::string &format, const Application &application);

// Follows the active window: the one the window manager names while it lives, else the one with the
// input focus, else the one under the pointer.
class ApplicationWatch {
 public:
  // With `fixed` the application is always that window's. `server` outlives the watch.
  ApplicationWatch(XServer &server, xcb_window_t fixed);

  // Whether a property that changed, of the root window or of the active one, matters.
  bool concerns(xcb_atom_t property) const;

  // Whether a window that is gone was the window manager's.
  bool was_manager(xcb_window_t window) const {
    return window != XCB_WINDOW_NONE && window == manager_;
  }

  // Looks which window is active now, asks for its property changes, and reads its texts. Empty
  // texts when there is none.
  Application look();

  // Whether the active window can change without an event that tells of it.
  bool must_be_asked() const { return fixed_ == XCB_WINDOW_NONE && !manager_tells_; }

 private:
  // The bytes of a property, up to a limit.
  struct Text {
    std::string bytes;
    TextEncoding encoding = TextEncoding::plain;
    bool cut = false;
  };

  xcb_window_t active_window();
  void find_manager();
  xcb_window_t focused() const;
  xcb_window_t under_pointer() const;
  xcb_window_t client_above(xcb_window_t window) const;
  xcb_window_t client_below(xcb_window_t window) const;
  void follow(xcb_window_t window);

  XOwned<xcb_get_property_reply_t> property(xcb_window_t window, xcb_atom_t name,
                                            uint32_t words) const;
  bool has(xcb_window_t window, xcb_atom_t name) const;
  bool has_title(xcb_window_t window) const;
  std::optional<xcb_window_t> window_in(xcb_window_t window, xcb_atom_t name) const;
  Text text(xcb_window_t window, xcb_atom_t name) const;
  std::string window_class(xcb_window_t window) const;
  std::string title(xcb_window_t window) const;

  XServer &server_;
  xcb_window_t fixed_;
  xcb_window_t followed_ = XCB_WINDOW_NONE;
  xcb_window_t manager_ = XCB_WINDOW_NONE;  // the window that shows that it lives
  bool manager_tells_ = false;              // whether it named the last active window
  xcb_atom_t active_window_atom_;
  xcb_atom_t manager_atom_;
  xcb_atom_t state_atom_;
  xcb_atom_t utf8_name_atom_;
  xcb_atom_t utf8_atom_;
  xcb_atom_t compound_atom_;
};

}  // namespace qom::record

#endif
