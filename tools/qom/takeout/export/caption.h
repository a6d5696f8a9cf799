// What stands under the pictures of a film.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "lettering.h"
#include "qom/screen.h"

namespace qomtool {

// One row: the texts of the recording, each in a cell of its own so that nothing moves when one of
// them changes, and the clock at its right end.
class Caption {
 public:
  struct Wishes {
    bool texts = false;
    bool clock = false;  // date, time, and offset from UTC
  };

  // For pictures of about so many rows; above them it has no height when nothing is wished. Throws
  // LetteringError.
  Caption(Wishes wishes, uint32_t rows);

  uint32_t height() const { return height_; }

  // Whether the screen's texts are others than those that were drawn.
  bool is_outdated(const QomScreen *screen) const;

  // Draws it for the time into the rows of the film from `top` on. Returns false when it was there
  // already.
  bool draw(const QomScreen *screen, uint64_t time, uint32_t top, RgbImage *film);

 private:
  using Texts = std::array<std::string, QOM_TEXT_COUNT>;

  void draw_texts(uint32_t top, uint32_t width, RgbImage *film);

  Wishes wishes_;
  uint32_t gap_ = 0;
  uint32_t height_ = 0;
  std::optional<Lettering> names_;
  std::optional<Lettering> letters_;
  std::optional<Texts> texts_;  // that were drawn
  std::string clock_;
};

}  // namespace qomtool
