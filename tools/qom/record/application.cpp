#include "application.h"

namespace qom::record {
namespace {

constexpr uint32_t max_text_words = 1024;  // 4 KiB of a property are enough for a title

std::string utf8_of_latin1(const std::string &latin1) {
  std::string utf8;
  for (const char c : latin1) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      utf8 += c;
    } else {
      utf8 += static_cast<char>(0xc0 | byte >> 6);
      utf8 += static_cast<char>(0x80 | (byte & 0x3f));
    }
  }
  return utf8;
}

}  // namespace

std::string application_text(const std::string &format, const Application &application) {
  std::string text;
  for (size_t i = 0; i < format.size(); i++) {
    const char next = format[i] == '%' && i + 1 < format.size() ? format[i + 1] : '\0';
    if (next == 'c') {
      text += application.window_class;
    } else if (next == 't') {
      text += application.title;
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

ApplicationWatch::ApplicationWatch(XServer &server, xcb_window_t fixed)
    : server_(server),
      fixed_(fixed),
      active_window_atom_(server.atom("_NET_ACTIVE_WINDOW")),
      utf8_name_atom_(server.atom("_NET_WM_NAME")),
      utf8_atom_(server.atom("UTF8_STRING")) {}

bool ApplicationWatch::concerns(xcb_atom_t property) const {
  return property == active_window_atom_ || property == utf8_name_atom_ ||
         property == XCB_ATOM_WM_NAME || property == XCB_ATOM_WM_CLASS;
}

Application ApplicationWatch::look() {
  const xcb_window_t window = active_window();
  follow(window);
  if (window == XCB_WINDOW_NONE) return {};
  // WM_CLASS holds two texts, each with its terminator; the second one is the class.
  const std::string both = text(window, XCB_ATOM_WM_CLASS);
  const size_t second = both.find('\0');
  Application application;
  if (second != std::string::npos) application.window_class = both.substr(second + 1).c_str();
  application.title = title(window);
  return application;
}

xcb_window_t ApplicationWatch::active_window() {
  if (fixed_ != XCB_WINDOW_NONE) return client_above(fixed_);
  const xcb_window_t named = named_by_manager();
  manager_tells_ = named != XCB_WINDOW_NONE;
  if (manager_tells_) return named;
  if (const xcb_window_t with_focus = focused()) return with_focus;
  return under_pointer();
}

xcb_window_t ApplicationWatch::named_by_manager() const {
  xcb_connection_t *connection = server_.connection();
  const auto property = reply<xcb_get_property_reply>(
      connection,
      xcb_get_property(connection, 0, server_.root(), active_window_atom_, XCB_ATOM_WINDOW, 0, 1));
  if (!property || xcb_get_property_value_length(property.get()) != sizeof(xcb_window_t)) {
    return XCB_WINDOW_NONE;
  }
  const auto window = *static_cast<xcb_window_t *>(xcb_get_property_value(property.get()));
  // A manager that is gone leaves a stale name behind.
  return window != XCB_WINDOW_NONE && has_class(window) ? window : xcb_window_t{XCB_WINDOW_NONE};
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

xcb_window_t ApplicationWatch::client_above(xcb_window_t window) const {
  while (window != XCB_WINDOW_NONE && window != server_.root() && !has_class(window)) {
    const auto tree = reply<xcb_query_tree_reply>(server_.connection(),
                                                  xcb_query_tree(server_.connection(), window));
    window = tree ? tree->parent : xcb_window_t{XCB_WINDOW_NONE};
  }
  return window == server_.root() ? xcb_window_t{XCB_WINDOW_NONE} : window;
}

// Window managers put a client's window one or two levels below the frame that they draw.
xcb_window_t ApplicationWatch::client_below(xcb_window_t window) const {
  std::vector<xcb_window_t> level{window};
  for (int depth = 0; depth < 3 && !level.empty(); depth++) {
    std::vector<xcb_window_t> below;
    for (const xcb_window_t candidate : level) {
      if (has_class(candidate)) return candidate;
      const auto tree = reply<xcb_query_tree_reply>(
          server_.connection(), xcb_query_tree(server_.connection(), candidate));
      if (!tree) continue;
      const xcb_window_t *children = xcb_query_tree_children(tree.get());
      below.insert(below.end(), children, children + xcb_query_tree_children_length(tree.get()));
    }
    level = std::move(below);
  }
  return XCB_WINDOW_NONE;
}

bool ApplicationWatch::has_class(xcb_window_t window) const {
  return !text(window, XCB_ATOM_WM_CLASS).empty();
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

std::string ApplicationWatch::text(xcb_window_t window, xcb_atom_t property) const {
  xcb_connection_t *connection = server_.connection();
  const auto value = reply<xcb_get_property_reply>(
      connection, xcb_get_property(connection, 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0,
                                   max_text_words));
  if (!value || value->format != 8) return {};
  const auto *bytes = static_cast<const char *>(xcb_get_property_value(value.get()));
  std::string result(bytes, static_cast<size_t>(xcb_get_property_value_length(value.get())));
  return value->type == utf8_atom_ ? result : utf8_of_latin1(result);
}

std::string ApplicationWatch::title(xcb_window_t window) const {
  std::string utf8 = text(window, utf8_name_atom_);
  if (utf8.empty()) utf8 = text(window, XCB_ATOM_WM_NAME);
  return utf8.c_str();  // up to a terminator that some programs store with it
}

}  // namespace qom::record
