#include "x_server.h"

#include <xcb/damage.h>
#include <xcb/xfixes.h>
#include <xcb/xinput.h>

#include <bit>
#include <cstring>

#include "connect_failure.h"
#include "connecting.h"
#include "error.h"
#include "pixel_layout.h"

namespace qom::record {
namespace {

std::string display_name(const std::string &display) {
  if (!display.empty()) return display;
  const char *from_environment = std::getenv("DISPLAY");
  return from_environment ? from_environment : "";
}

std::string connection_error(int code, const std::string &display) {
  switch (code) {
    case XCB_CONN_CLOSED_PARSE_ERR:
      return "that is not the name of a display";
    case XCB_CONN_CLOSED_INVALID_SCREEN:
      return "the display has no such screen";
    default:
      return connect_failure(display);
  }
}

const xcb_screen_t *screen_of_number(const xcb_setup_t *setup, int number) {
  xcb_screen_iterator_t screens = xcb_setup_roots_iterator(setup);
  while (number-- > 0 && screens.rem > 1) xcb_screen_next(&screens);
  return screens.data;
}

const xcb_format_t *image_format(const xcb_setup_t *setup, uint8_t depth) {
  xcb_format_iterator_t formats = xcb_setup_pixmap_formats_iterator(setup);
  for (; formats.rem; xcb_format_next(&formats)) {
    if (formats.data->depth == depth) return formats.data;
  }
  return nullptr;
}

}  // namespace

XServer::XServer(const std::string &display, EndWatch &ends) {
  const std::string name = display_name(display);
  if (name.empty()) {
    throw RecordError("no display to record: neither --display nor $DISPLAY names one");
  }
  int screen_number = 0;
  connection_ = connect_to(name, screen_number, ends);
  if (const int code = xcb_connection_has_error(connection_)) {
    xcb_disconnect(connection_);
    throw RecordError("cannot open display \"" + name + "\": " + connection_error(code, name));
  }
  setup_ = xcb_get_setup(connection_);
  try {
    if (!is_whole(*setup_)) throw RecordError("the X server describes itself only in part");
    screen_ = screen_of_number(setup_, screen_number);
    ends.guard(xcb_get_file_descriptor(connection_));
    require_extensions();
  } catch (const RecordError &error) {
    const bool gone = this->gone();
    xcb_disconnect(connection_);
    throw gone ? RecordError(server_went_silent) : error;
  } catch (...) {
    xcb_disconnect(connection_);
    throw;
  }
}

void XServer::require_extensions() {
  const auto *damage = xcb_get_extension_data(connection_, &xcb_damage_id);
  const auto *fixes = xcb_get_extension_data(connection_, &xcb_xfixes_id);
  if (!damage || !damage->present) throw RecordError("the X server has no DAMAGE extension");
  if (!fixes || !fixes->present) throw RecordError("the X server has no XFIXES extension");
  damage_event_ = damage->first_event;
  fixes_event_ = fixes->first_event;
  // Neither extension may be used before its version was asked for.
  const auto damage_version = reply<xcb_damage_query_version_reply>(
      connection_, xcb_damage_query_version(connection_, 1, 1));
  const auto fixes_version = reply<xcb_xfixes_query_version_reply>(
      connection_, xcb_xfixes_query_version(connection_, 4, 0));
  if (!damage_version) throw RecordError("the X server's DAMAGE extension does not answer");
  if (!fixes_version || fixes_version->major_version < 2) {
    throw RecordError("the X server's XFIXES extension is older than 2.0");
  }
  require_input();
}

void XServer::require_input() {
  const auto *input = xcb_get_extension_data(connection_, &xcb_input_id);
  if (!input || !input->present) throw RecordError("the X server has no XInput extension");
  input_opcode_ = input->major_opcode;
  // From 2.1 on, raw events also come while another program has grabbed the pointer.
  const auto version = reply<xcb_input_xi_query_version_reply>(
      connection_, xcb_input_xi_query_version(connection_, 2, 1));
  if (!version || version->major_version * 100 + version->minor_version < 201) {
    throw RecordError("the X server's XInput extension is older than 2.1");
  }
}

xcb_atom_t XServer::atom(const char *name) const {
  const auto answer = reply<xcb_intern_atom_reply>(
      connection_, xcb_intern_atom(connection_, 0, static_cast<uint16_t>(strlen(name)), name));
  return answer ? answer->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

const xcb_visualtype_t *XServer::visual(xcb_visualid_t id) const {
  xcb_depth_iterator_t depths = xcb_screen_allowed_depths_iterator(screen_);
  for (; depths.rem; xcb_depth_next(&depths)) {
    xcb_visualtype_iterator_t visuals = xcb_depth_visuals_iterator(depths.data);
    for (; visuals.rem; xcb_visualtype_next(&visuals)) {
      if (visuals.data->visual_id == id) return visuals.data;
    }
  }
  return nullptr;
}

ImageLayout XServer::image_layout(xcb_window_t window) const {
  const auto attributes = reply<xcb_get_window_attributes_reply>(
      connection_, xcb_get_window_attributes(connection_, window));
  const auto geometry =
      reply<xcb_get_geometry_reply>(connection_, xcb_get_geometry(connection_, window));
  if (!attributes || !geometry) throw RecordError("the display has no such window");
  if (attributes->_class == XCB_WINDOW_CLASS_INPUT_ONLY) {
    throw RecordError("the window only takes input; it has no pixels to record");
  }
  const xcb_visualtype_t *type = visual(attributes->visual);
  const xcb_format_t *format = image_format(setup_, geometry->depth);
  const std::string depth = std::to_string(geometry->depth);
  if (!type || !format || type->_class != XCB_VISUAL_CLASS_TRUE_COLOR) {
    throw RecordError("depth " + depth + " of the display is not true colour: only 16, 24 and 32 " +
                      "bits deep true colour displays can be recorded");
  }
  const bool little = setup_->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST;
  if (little != (std::endian::native == std::endian::little)) {
    throw RecordError("the X server's images have the other byte order than this machine");
  }
  const auto known =
      format_of_masks(format->bits_per_pixel, type->red_mask, type->green_mask, type->blue_mask);
  if (!known) {
    throw RecordError("the channels of the display (depth " + depth +
                      ") are laid out in a way that cannot be recorded");
  }
  return {*known, geometry->depth, format->scanline_pad};
}

}  // namespace qom::record
