#include "application.h"

#include <algorithm>

namespace qom::record {
namespace {

constexpr uint32_t max_text_words = 1024;  // 4 KiB of a property are enough for a title
constexpr int max_levels = 100;            // of windows within each other

// What the format makes of the application, when both of its texts are there or not asked for.
std::string formatted(const std::string &format, const Application &application, bool *whole) {
  std::string text;
  for (size_t i = 0; i < format.size(); i++) {
    const char next = format[i] == '%' && i + 1 < format.size() ? format[i + 1] : '\0';
    if (next == 'c' || next == 't') {
      const std::string &part = next == 'c' ? application.window_class : application.title;
      *whole = *whole && !part.empty();
      text += part;
    } else if (next == '%') {
      text += '%';
    } else {
      text += format[i];
      continue;
    }
    i++;
  }
  return text;
}

}  // namespace

std::string application_text(const std::string &format, const Application &application) {
  bool whole = true;
  std::string text = formatted(format, application, &whole);
  if (whole) return text;
  return application.window_class.empty() ? application.title : application.window_class;
}

ApplicationWatch::ApplicationWatch(XServer &server, xcb_window_t fixed)
    : server_(server),
      fixed_(fixed),
      active_window_atom_(server.atom("_NET_ACTIVE_WINDOW")),
      manager_atom_(server.atom("_NET_SUPPORTING_WM_CHECK")),
      state_atom_(server.atom("WM_STATE")),
      utf8_name_atom_(server.atom("_NET_WM_NAME")),
      utf8_atom_(server.atom("UTF8_STRING")),
      compound_atom_(server.atom("COMPOUND_TEXT")) {}

bool ApplicationWatch::concerns(xcb_atom_t property) const {
  return property == active_window_atom_ || property == manager_atom_ ||
         property == utf8_name_atom_ || property == XCB_ATOM_WM_NAME ||
         property == XCB_ATOM_WM_CLASS;
}

Application ApplicationWatch::look() {
  const xcb_window_t window = active_window();
  follow(window);
  if (window == XCB_WINDOW_NONE) return {};
  return {window_class(window), title(window)};
}

xcb_window_t ApplicationWatch::active_window() {
  if (fixed_ != XCB_WINDOW_NONE) return client_above(fixed_);
  find_manager();
  const auto named =
      manager_ != XCB_WINDOW_NONE ? window_in(server_.root(), active_window_atom_) : std::nullopt;
  manager_tells_ = named.has_value();
  if (manager_tells_) return *named;
  if (const xcb_window_t with_focus = focused()) return with_focus;
  return under_pointer();
}

// A manager that is gone leaves its properties on the root window. The window that they name is its
// own: it names itself, and goes with the manager.
void ApplicationWatch::find_manager() {
  const xcb_window_t named = window_in(server_.root(), manager_atom_).value_or(XCB_WINDOW_NONE);
  const bool lives = named != XCB_WINDOW_NONE && window_in(named, manager_atom_) == named;
  if (lives && named != manager_) {
    const uint32_t structure = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(server_.connection(), named, XCB_CW_EVENT_MASK, &structure);
  }
  manager_ = lives ? named : xcb_window_t{XCB_WINDOW_NONE};
}

xcb_window_t ApplicationWatch::focused() const {
  xcb_connection_t *connection = server_.connection();
  const auto focus = reply<xcb_get_input_focus_reply>(connection, xcb_get_input_focus(connection));
  if (!focus || focus->focus <= XCB_INPUT_FOCUS_POINTER_ROOT) return XCB_WINDOW_NONE;
  return client_above(focus->focus);
}

xcb_window_t ApplicationWatch::under_pointer() const {
  xcb_connection_t *connection = server_.connection();
  const auto pointer =
      reply<xcb_query_pointer_reply>(connection, xcb_query_pointer(connection, server_.root()));
  return pointer && pointer->child ? client_below(pointer->child) : xcb_window_t{XCB_WINDOW_NONE};
}

// The window that a manager put its state on, or without one the nearest that says what it is.
xcb_window_t ApplicationWatch::client_above(xcb_window_t window) const {
  xcb_window_t with_class = XCB_WINDOW_NONE;
  xcb_window_t with_title = XCB_WINDOW_NONE;
  for (int level = 0; level < max_levels; level++) {
    if (window == XCB_WINDOW_NONE || window == server_.root()) break;
    if (has(window, state_atom_)) return window;
    if (!with_class && has(window, XCB_ATOM_WM_CLASS)) with_class = window;
    if (!with_title && has_title(window)) with_title = window;
    const auto tree = reply<xcb_query_tree_reply>(server_.connection(),
                                                  xcb_query_tree(server_.connection(), window));
    window = tree ? tree->parent : xcb_window_t{XCB_WINDOW_NONE};
  }
  return with_class ? with_class : with_title;
}

// Window managers put a client's window one or two levels below the frame that they draw.
xcb_window_t ApplicationWatch::client_below(xcb_window_t window) const {
  xcb_window_t with_title = XCB_WINDOW_NONE;
  std::vector<xcb_window_t> level{window};
  for (int depth = 0; depth < 3 && !level.empty(); depth++) {
    std::vector<xcb_window_t> below;
    for (const xcb_window_t candidate : level) {
      if (has(candidate, state_atom_) || has(candidate, XCB_ATOM_WM_CLASS)) return candidate;
      if (!with_title && has_title(candidate)) with_title = candidate;
      const auto tree = reply<xcb_query_tree_reply>(
          server_.connection(), xcb_query_tree(server_.connection(), candidate));
      if (!tree) continue;
      const xcb_window_t *children = xcb_query_tree_children(tree.get());
      below.insert(below.end(), children, children + xcb_query_tree_children_length(tree.get()));
    }
    level = std::move(below);
  }
  return with_title;
}

bool ApplicationWatch::has_title(xcb_window_t window) const {
  return has(window, utf8_name_atom_) || has(window, XCB_ATOM_WM_NAME);
}

void ApplicationWatch::follow(xcb_window_t window) {
  if (window == followed_) return;
  const uint32_t none = XCB_EVENT_MASK_NO_EVENT;
  const uint32_t properties = XCB_EVENT_MASK_PROPERTY_CHANGE;
  // The recorded window's own event mask is the recorder's business, and has properties in it.
  if (followed_ != XCB_WINDOW_NONE && followed_ != fixed_) {
    xcb_change_window_attributes(server_.connection(), followed_, XCB_CW_EVENT_MASK, &none);
  }
  if (window != XCB_WINDOW_NONE && window != fixed_) {
    xcb_change_window_attributes(server_.connection(), window, XCB_CW_EVENT_MASK, &properties);
  }
  followed_ = window;
}

XOwned<xcb_get_property_reply_t> ApplicationWatch::property(xcb_window_t window, xcb_atom_t name,
                                                            uint32_t words) const {
  xcb_connection_t *connection = server_.connection();
  return reply<xcb_get_property_reply>(
      connection,
      xcb_get_property(connection, 0, window, name, XCB_GET_PROPERTY_TYPE_ANY, 0, words));
}

bool ApplicationWatch::has(xcb_window_t window, xcb_atom_t name) const {
  const auto value = property(window, name, 0);
  return value && value->type != XCB_ATOM_NONE && value->bytes_after > 0;
}

// None when there is no such property; one that names no window gives none of X, which is a window
// here.
std::optional<xcb_window_t> ApplicationWatch::window_in(xcb_window_t window,
                                                        xcb_atom_t name) const {
  const auto value = property(window, name, 1);
  if (!value || value->type != XCB_ATOM_WINDOW || value->format != 32 || value->length != 1) {
    return std::nullopt;
  }
  return *static_cast<xcb_window_t *>(xcb_get_property_value(value.get()));
}

ApplicationWatch::Text ApplicationWatch::text(xcb_window_t window, xcb_atom_t name) const {
  const auto value = property(window, name, max_text_words);
  if (!value || value->format != 8) return {};
  const auto *bytes = static_cast<const char *>(xcb_get_property_value(value.get()));
  const size_t length = std::min<size_t>(value->value_len, size_t{value->length} * 4);
  const TextEncoding encoding = value->type == utf8_atom_       ? TextEncoding::utf8
                                : value->type == compound_atom_ ? TextEncoding::compound
                                                                : TextEncoding::plain;
  return {std::string(bytes, length), encoding, value->bytes_after > 0};
}

// WM_CLASS holds two texts, each with its terminator; the second one is the class.
std::string ApplicationWatch::window_class(xcb_window_t window) const {
  const Text both = text(window, XCB_ATOM_WM_CLASS);
  const size_t first_end = both.bytes.find('\0');
  if (first_end == std::string::npos) return "";
  const size_t begin = first_end + 1;
  const size_t length = both.bytes.find('\0', begin) - begin;
  return utf8_of(both.bytes.substr(begin, length), both.encoding, both.cut);
}

std::string ApplicationWatch::title(xcb_window_t window) const {
  for (const xcb_atom_t name : {utf8_name_atom_, xcb_atom_t{XCB_ATOM_WM_NAME}}) {
    const Text found = text(window, name);
    // Up to a terminator that some programs store with it.
    std::string title = utf8_of(found.bytes.c_str(), found.encoding, found.cut);
    if (!title.empty()) return title;
  }
  return "";
}

}  // namespace qom::record
