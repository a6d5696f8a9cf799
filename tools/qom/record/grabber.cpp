#include "grabber.h"

#include <sys/ipc.h>
#include <sys/shm.h>

namespace qom::record {
namespace {

constexpr uint32_t all_planes = ~uint32_t{0};

bool has_shared_memory(xcb_connection_t *connection) {
  const auto *extension = xcb_get_extension_data(connection, &xcb_shm_id);
  if (!extension || !extension->present) return false;
  return reply<xcb_shm_query_version_reply>(connection, xcb_shm_query_version(connection)) !=
         nullptr;
}

}  // namespace

Grabber::Grabber(XServer &server, xcb_window_t window, const ImageLayout &layout)
    : server_(server),
      window_(window),
      layout_(layout),
      can_share_(has_shared_memory(server.connection())) {}

Grabber::~Grabber() {
  release_memory();
}

size_t Grabber::stride(int width) const {
  const auto bits = static_cast<uint8_t>(8 * pixel_format_bytes_per_pixel(layout_.format));
  return stride_in_bytes(static_cast<uint32_t>(width), bits, layout_.scanline_pad);
}

void Grabber::release_memory() {
  if (!memory_) return;
  xcb_shm_detach(server_.connection(), segment_);
  shmdt(memory_);
  memory_ = nullptr;
  memory_bytes_ = 0;
}

// Leaves memory_ null when the server is on another machine or out of segments.
void Grabber::share_memory(size_t bytes) {
  release_memory();
  const int id = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
  can_share_ = id >= 0;
  if (!can_share_) return;
  void *address = shmat(id, nullptr, 0);
  segment_ = xcb_generate_id(server_.connection());
  const XOwned<xcb_generic_error_t> error(xcb_request_check(
      server_.connection(), xcb_shm_attach_checked(server_.connection(), segment_, id, 0)));
  // Marked for removal at once: it goes when both sides have let go of it, however they end.
  shmctl(id, IPC_RMID, nullptr);
  const bool is_here = reinterpret_cast<intptr_t>(address) != -1;
  can_share_ = !error && !server_.gone() && is_here;
  if (can_share_) {
    memory_ = static_cast<uint8_t *>(address);
    memory_bytes_ = bytes;
  } else if (is_here) {
    shmdt(address);
  }
}

bool Grabber::holds(uint8_t depth, uint64_t bytes, const Rectangle &area) const {
  return depth == layout_.depth && bytes >= stride(area.width) * area.height;
}

bool Grabber::grab(const std::vector<Rectangle> &areas, std::vector<Grab> &grabs) {
  size_t bytes = 0;
  for (const Rectangle &area : areas) bytes += stride(area.width) * area.height;
  if (can_share_ && bytes > memory_bytes_) share_memory(bytes);
  // Servers refuse to share what of a window lies beyond the screen, though they have its pixels.
  return (memory_ && grab_shared(areas, grabs)) || grab_copied(areas, grabs);
}

bool Grabber::grab_shared(const std::vector<Rectangle> &areas, std::vector<Grab> &grabs) {
  xcb_connection_t *connection = server_.connection();
  std::vector<xcb_shm_get_image_cookie_t> cookies;
  grabs.clear();
  size_t offset = 0;
  for (const Rectangle &area : areas) {
    cookies.push_back(xcb_shm_get_image(
        connection, window_, static_cast<int16_t>(area.x), static_cast<int16_t>(area.y),
        static_cast<uint16_t>(area.width), static_cast<uint16_t>(area.height), all_planes,
        XCB_IMAGE_FORMAT_Z_PIXMAP, segment_, static_cast<uint32_t>(offset)));
    grabs.push_back({area, memory_ + offset, stride(area.width)});
    offset += stride(area.width) * area.height;
  }
  bool complete = true;
  for (size_t i = 0; i < cookies.size(); i++) {
    const auto image = reply<xcb_shm_get_image_reply>(connection, cookies[i]);
    complete &= image && holds(image->depth, image->size, areas[i]);
  }
  return complete;
}

bool Grabber::grab_copied(const std::vector<Rectangle> &areas, std::vector<Grab> &grabs) {
  xcb_connection_t *connection = server_.connection();
  grabs.clear();
  replies_.clear();
  for (const Rectangle &area : areas) {
    auto image = reply<xcb_get_image_reply>(
        connection,
        xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, window_, static_cast<int16_t>(area.x),
                      static_cast<int16_t>(area.y), static_cast<uint16_t>(area.width),
                      static_cast<uint16_t>(area.height), all_planes));
    if (!image || !holds(image->depth, bytes_behind(*image), area)) return false;
    grabs.push_back({area, xcb_get_image_data(image.get()), stride(area.width)});
    replies_.push_back(std::move(image));
  }
  return true;
}

}  // namespace qom::record
