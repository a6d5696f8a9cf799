// Text drawn on pictures.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "rgb_image.h"

struct FT_LibraryRec_;
struct FT_FaceRec_;

namespace qomtool {

// Why nothing can be lettered, for the person at the terminal.
struct LetteringError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// One font in one size. Texts are UTF-8, one line each, from left to right, a shape for each
// character; what is not fit to be shown is drawn as an escape (text/quote.h), what the font lacks
// as its box.
class Lettering {
 public:
  // `size`: of the font, pixels. Throws LetteringError when the font is missing.
  explicit Lettering(uint32_t size);
  ~Lettering();
  Lettering(const Lettering &) = delete;
  Lettering &operator=(const Lettering &) = delete;

  // Pixels from the top of the tallest letters to the bottom of the lowest.
  uint32_t height() const { return ascent_ + descent_; }
  uint32_t width(std::string_view text);

  // The text, or what of its beginning fits into so many pixels, with an ellipsis.
  std::string shortened(std::string_view text, uint32_t width);

  // Draws a text whose top-left corner is at x, y; what lies beside the picture is left out.
  void draw(std::string_view text, int32_t x, int32_t y, Colour colour, RgbImage *onto);

 private:
  struct Glyph {
    uint32_t advance = 0;  // pixels to the next one
    int32_t left = 0;      // of its coverage, from the pen
    int32_t top = 0;       // and above the base line
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<uint8_t> coverage;  // 0 to 255
  };
  struct Close {
    void operator()(FT_LibraryRec_ *library) const;
    void operator()(FT_FaceRec_ *face) const;
  };

  const Glyph &glyph(char32_t character);
  Glyph load(char32_t character);

  std::unique_ptr<FT_LibraryRec_, Close> library_;
  std::unique_ptr<FT_FaceRec_, Close> face_;
  uint32_t ascent_ = 0;
  uint32_t descent_ = 0;
  std::map<char32_t, Glyph> glyphs_;
};

}  // namespace qomtool
