#include "display.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>
#include <utility>

#include "reply.h"

using qom::record::reply;

// The server chooses the number itself and tells it when it is ready for clients.
Display::Display(std::vector<std::string> command) {
  if (pipe(pipe_) != 0) throw std::runtime_error("no pipe");
  command.insert(command.end(), {"-displayfd", std::to_string(pipe_[1])});
  server_ = std::make_unique<Process>(command);
  close(pipe_[1]);
  char number[16] = {};
  pollfd source{pipe_[0], POLLIN, 0};
  if (poll(&source, 1, 20000) != 1 || read(pipe_[0], number, sizeof number - 1) <= 0) {
    throw std::runtime_error(command[0] + " does not start");
  }
  name_ = ":" + std::to_string(std::strtol(number, nullptr, 10));
  connection_ = xcb_connect(name_.c_str(), nullptr);
  screen_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
  gc_ = xcb_generate_id(connection_);
  const uint32_t values[] = {XCB_SUBWINDOW_MODE_CLIP_BY_CHILDREN, 0};
  xcb_create_gc(connection_, gc_, root(), XCB_GC_SUBWINDOW_MODE | XCB_GC_GRAPHICS_EXPOSURES,
                values);
}

Display::~Display() {
  xcb_disconnect(connection_);
  close(pipe_[0]);
}

Screenshot Display::screenshot(xcb_window_t window) const {
  const auto geometry =
      reply<xcb_get_geometry_reply>(connection_, xcb_get_geometry(connection_, window));
  if (!geometry) return {};
  const auto image = reply<xcb_get_image_reply>(
      connection_, xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, window, 0, 0,
                                 geometry->width, geometry->height, ~0u));
  if (!image) return {};
  Screenshot shot{geometry->width, geometry->height, {}};
  const size_t bytes = geometry->depth == 16 ? 2 : 4;
  const uint8_t *row = xcb_get_image_data(image.get());
  for (int y = 0; y < shot.height; y++, row += (bytes * geometry->width + 3) / 4 * 4) {
    for (size_t x = 0; x < geometry->width; x++) {
      uint32_t pixel = 0;
      std::memcpy(&pixel, row + bytes * x, bytes);
      shot.pixels.push_back(pixel & 0xffffff);
    }
  }
  return shot;
}

Screenshot Display::settled() const {
  Screenshot last;
  EXPECT_TRUE(eventually([&] {
    const Screenshot before = std::exchange(last, screenshot(root()));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return last == before;
  })) << "the display does not come to rest";
  return last;
}

xcb_window_t Display::make_window(int x, int y, int width, int height, uint32_t colour) const {
  const xcb_window_t window = xcb_generate_id(connection_);
  const uint32_t values[] = {colour, 1};
  xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window, root(), static_cast<int16_t>(x),
                    static_cast<int16_t>(y), static_cast<uint16_t>(width),
                    static_cast<uint16_t>(height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                    XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
  xcb_map_window(connection_, window);
  sync();
  return window;
}

void Display::configure(xcb_window_t window, uint16_t mask,
                        const std::vector<uint32_t> &values) const {
  xcb_configure_window(connection_, window, mask, values.data());
  sync();
}

void Display::fill(xcb_window_t window, uint32_t colour, int x, int y, int width,
                   int height) const {
  xcb_change_gc(connection_, gc_, XCB_GC_FOREGROUND, &colour);
  const xcb_rectangle_t area{static_cast<int16_t>(x), static_cast<int16_t>(y),
                             static_cast<uint16_t>(width), static_cast<uint16_t>(height)};
  xcb_poly_fill_rectangle(connection_, window, gc_, 1, &area);
  sync();
}

void Display::fill_with_noise(xcb_window_t window, int x, int y, int width, int height) {
  const int bytes_per_pixel = screen_->root_depth == 16 ? 2 : 4;
  const size_t stride = (static_cast<size_t>(width) * bytes_per_pixel + 3) / 4 * 4;
  std::vector<uint32_t> pixels(stride * height / 4);
  for (uint32_t &pixel : pixels) pixel = random_ = random_ * 1664525 + 1013904223;
  xcb_put_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, window, gc_, static_cast<uint16_t>(width),
                static_cast<uint16_t>(height), static_cast<int16_t>(x), static_cast<int16_t>(y), 0,
                screen_->root_depth, static_cast<uint32_t>(pixels.size() * 4),
                reinterpret_cast<const uint8_t *>(pixels.data()));
  sync();
}

xcb_atom_t Display::atom(const char *name) const {
  return reply<xcb_intern_atom_reply>(
             connection_,
             xcb_intern_atom(connection_, 0, static_cast<uint16_t>(std::strlen(name)), name))
      ->atom;
}

void Display::set_property(xcb_window_t window, const char *name, const char *type,
                           const std::string &bytes) const {
  xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window, atom(name), atom(type), 8,
                      static_cast<uint32_t>(bytes.size()), bytes.data());
  sync();
}

void Display::set_property(xcb_window_t window, const char *name, xcb_window_t value) const {
  xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window, atom(name), XCB_ATOM_WINDOW, 32,
                      1, &value);
  sync();
}

void Display::sync() const {
  reply<xcb_get_input_focus_reply>(connection_, xcb_get_input_focus(connection_));
}
