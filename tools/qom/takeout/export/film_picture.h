// The picture of a film that follows a screen.
#pragma once

#include <cstdint>
#include <vector>

#include "qom/screen.h"
#include "rgb_image.h"

namespace qomtool {

class FilmPicture {
 public:
  enum class Fit {
    scaled,   // as large as the frame allows
    natural,  // as it is, where the frame is not too small for it
  };

  // A black picture of the size `film`. In the rectangle `frame` of it screens are shown, each in
  // the middle.
  FilmPicture(PictureSize film, const QomRectangle &frame, Fit fit, bool with_cursor);

  // Takes over what is on the screen now. Returns false when it looks the same. Throws
  // std::bad_alloc.
  bool follow(QomScreen *screen);

  const RgbImage &image() const { return image_; }

  // For what is drawn outside of the frame; it has to be told of then.
  RgbImage *canvas() { return &image_; }
  void note(const QomRectangle &area) { changed_.push_back(area); }

  // The areas that changed since the last call, all of it at first. They may overlap.
  std::vector<QomRectangle> take_changes();

 private:
  std::vector<QomRectangle> damage_of(QomScreen *screen);
  bool is_new_size(const QomPicture &picture) const;
  void resize(const QomPicture &picture);
  bool is_scaled() const;
  bool copy(const QomPicture &picture, const QomRectangle &area);
  bool copy_scaled(const QomPicture &picture, const std::vector<QomRectangle> &areas);
  const uint8_t *rgb_of_area(const QomPicture &picture, const QomRectangle &area);

  RgbImage image_;
  QomRectangle frame_;
  Fit fit_;
  bool with_cursor_;
  RgbImage screen_;           // what is shown scaled, in its own size; otherwise only its size
  QomRectangle shown_ = {};   // where the screen is, in the film
  QomRectangle cursor_ = {};  // where it was, on the screen
  std::vector<uint8_t> rgb_;
  std::vector<QomRectangle> changed_;
};

}  // namespace qomtool
