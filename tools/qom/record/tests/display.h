// An X server of a test's own, and a client of it.
#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "process.h"

struct Screenshot {
  int width = 0;
  int height = 0;
  std::vector<uint32_t> pixels;  // as they are on the display, without unused bits

  bool operator==(const Screenshot &) const = default;
};

class Display {
 public:
  // Starts `command`, an X server with its options, and connects to it.
  explicit Display(std::vector<std::string> command);
  ~Display();
  Display(const Display &) = delete;
  Display &operator=(const Display &) = delete;

  const std::string &name() const { return name_; }
  xcb_connection_t *connection() const { return connection_; }
  xcb_window_t root() const { return screen_->root; }
  Process &server() { return *server_; }

  Screenshot screenshot(xcb_window_t window) const;
  // The picture once nothing changes it any more.
  Screenshot settled() const;

  // A mapped window of one colour at this place, as big as asked for.
  xcb_window_t make_window(int x, int y, int width, int height, uint32_t colour) const;
  void configure(xcb_window_t window, uint16_t mask, const std::vector<uint32_t> &values) const;
  void fill(xcb_window_t window, uint32_t colour, int x, int y, int width, int height) const;
  // Pixels that do not compress.
  void fill_with_noise(xcb_window_t window, int x, int y, int width, int height);
  void set_property(xcb_window_t window, const char *name, const char *type,
                    const std::string &bytes) const;
  void set_property(xcb_window_t window, const char *name, xcb_window_t value) const;
  // Waits until the server has done everything asked for.
  void sync() const;

 private:
  xcb_atom_t atom(const char *name) const;

  int pipe_[2];
  std::string name_;
  std::unique_ptr<Process> server_;
  xcb_connection_t *connection_ = nullptr;
  const xcb_screen_t *screen_ = nullptr;
  xcb_gcontext_t gc_ = 0;
  uint32_t random_ = 1;
};
