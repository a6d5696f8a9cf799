// The recorded screen in the very pixels of the recording, so that they can be written again.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "qom/screen.h"
#include "records.h"

namespace qomtool {

class RawScreen {
 public:
  // A screen at place 0; the reader lives longer. Where it cannot be had is_open() is false, and
  // qom_reader_error() has the reason.
  explicit RawScreen(QomReader *reader);

  bool is_open() const { return screen_ != nullptr; }
  QomScreen *get() { return screen_.get(); }

  // Applies the records up to that number. False with the reason.
  bool go_to(size_t record);

  // The areas of the picture that are lossy.
  std::vector<QomRectangle> lossy() const;

  // What copies have drawn, as compressed blocks of the recording's format; none when memory is
  // short. The screen is where the copies have just been applied.
  RecordPtr targets(const QomCopyArea &copied);

  // The whole picture as an image of the recording's format, row padding 0; none when memory is
  // short. Where nothing was drawn it is black, or as dark as the palette has it; *exact is false
  // for the latter.
  ImagePtr picture(uint64_t time, bool *exact);

 private:
  struct Close {
    void operator()(QomScreen *screen) const { qom_screen_close(screen); }
  };
  ImagePtr image(const QomPicture &picture, const QomRectangle &area, uint64_t time,
                 bool *all_drawn) const;
  static void draw(void *self, const QomImage *image, const QomPicture *picture);

  const QomHeader *header_;
  size_t pixel_bytes_;
  std::unique_ptr<QomScreen, Close> screen_;
};

}  // namespace qomtool
