#include "display.h"

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>

using namespace std::chrono_literals;

bool eventually(const std::function<bool()> &condition, std::chrono::seconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(5ms);
  }
  return true;
}

Process::Process(const std::vector<std::string> &command, const std::function<void()> &prepare) {
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("no pipe");
  id_ = fork();
  if (id_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(ends[1], 1);
    dup2(ends[1], 2);
    close(ends[0]);
    prepare();
    std::vector<char *> words;
    for (const std::string &word : command) words.push_back(const_cast<char *>(word.c_str()));
    words.push_back(nullptr);
    execvp(words[0], words.data());
    _exit(127);
  }
  close(ends[1]);
  pipe_ = ends[0];
}

Process::~Process() {
  if (!ended_) {
    signal(SIGKILL);
    wait();
  }
  close(pipe_);
}

void Process::signal(int number) const {
  kill(id_, number);
}

bool Process::has_ended() const {
  siginfo_t ended{};
  waitid(P_PID, static_cast<id_t>(id_), &ended, WEXITED | WNOHANG | WNOWAIT);
  return ended.si_pid != 0;
}

bool Process::read_some() {
  pollfd source{pipe_, POLLIN, 0};
  if (poll(&source, 1, 20000) != 1) return false;
  char buffer[4096];
  const ssize_t count = read(pipe_, buffer, sizeof buffer);
  if (count > 0) output_.append(buffer, static_cast<size_t>(count));
  return count > 0;
}

bool Process::prints(const std::string &text) {
  while (output_.find(text) == std::string::npos) {
    if (!read_some()) return false;
  }
  return true;
}

int Process::wait() {
  while (read_some()) {
  }
  int status = 0;
  waitpid(id_, &status, 0);
  ended_ = true;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

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
  name_ = ":" + std::to_string(std::atoi(number));
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
  const std::unique_ptr<xcb_get_geometry_reply_t, decltype(&free)> geometry(
      xcb_get_geometry_reply(connection_, xcb_get_geometry(connection_, window), nullptr), free);
  if (!geometry) return {};
  const std::unique_ptr<xcb_get_image_reply_t, decltype(&free)> image(
      xcb_get_image_reply(connection_,
                          xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, window, 0, 0,
                                        geometry->width, geometry->height, ~0u),
                          nullptr),
      free);
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
  int same = 0;
  const bool quiet = eventually([&] {
    const Screenshot shot = screenshot(root());
    same = shot == last ? same + 1 : 0;
    last = shot;
    return same >= 20;
  });
  EXPECT_TRUE(quiet) << "the display does not come to rest";
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

void Display::set_title(xcb_window_t window, const std::string &wm_class,
                        const std::string &title) const {
  const std::string both = wm_class + '\0' + wm_class + '\0';
  xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS,
                      XCB_ATOM_STRING, 8, static_cast<uint32_t>(both.size()), both.data());
  xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING,
                      8, static_cast<uint32_t>(title.size()), title.data());
  sync();
}

xcb_atom_t Display::atom(const char *name) const {
  const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&free)> answer(
      xcb_intern_atom_reply(
          connection_,
          xcb_intern_atom(connection_, 0, static_cast<uint16_t>(std::strlen(name)), name), nullptr),
      free);
  return answer->atom;
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
  free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
}
