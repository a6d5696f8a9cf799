// Reads pixels of a window, through shared memory where the server shares some with us.
#ifndef QOM_RECORD_GRABBER_H
#define QOM_RECORD_GRABBER_H

#include <xcb/shm.h>

#include <vector>

#include "picture.h"
#include "x_server.h"

namespace qom::record {

class Grabber {
 public:
  // `server` outlives the grabber.
  Grabber(XServer &server, xcb_window_t window, const ImageLayout &layout);
  ~Grabber();
  Grabber(const Grabber &) = delete;
  Grabber &operator=(const Grabber &) = delete;

  // Reads the disjoint rectangles (coordinates of the window, inside it). The pixels stay valid
  // until the next call. False when the server refused one, as it does when the window is not
  // visible or has meanwhile become smaller, or gave too few; the grabs are of no use then.
  bool grab(const std::vector<Rectangle> &areas, std::vector<Grab> &grabs);

  bool shares_memory() const { return memory_ != nullptr; }

 private:
  size_t stride(int width) const;
  bool holds(uint8_t depth, uint64_t bytes, const Rectangle &area) const;
  void share_memory(size_t bytes);
  void release_memory();
  bool grab_shared(const std::vector<Rectangle> &areas, std::vector<Grab> &grabs);
  bool grab_copied(const std::vector<Rectangle> &areas, std::vector<Grab> &grabs);

  XServer &server_;
  xcb_window_t window_;
  ImageLayout layout_;
  bool can_share_;
  xcb_shm_seg_t segment_ = 0;
  uint8_t *memory_ = nullptr;  // shared with the server; null when there is none
  size_t memory_bytes_ = 0;
  std::vector<XOwned<xcb_get_image_reply_t>> replies_;  // hold the pixels when nothing is shared
};

}  // namespace qom::record

#endif
