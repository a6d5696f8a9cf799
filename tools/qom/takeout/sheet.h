// A contact sheet: small pictures in rows, each with its time under it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "lettering.h"
#include "rgb_image.h"

namespace qomtool {

struct Grid {
  uint32_t columns;
  uint32_t rows;
};

// "COLUMNSxROWS", up to 100 of each; nothing for anything else.
std::optional<Grid> parse_grid(const std::string &text);

// For the command line: an empty text for a good grid, otherwise what is wrong with it.
std::string check_grid(const std::string &text);

class Sheet {
 public:
  // What there is against a picture.
  enum class Doubt { none, lossy, damaged };

  // For pictures of at most that size. Throws LetteringError.
  explicit Sheet(PictureSize largest);

  // The size of the sheet with all places of the grid taken by pictures of the largest size.
  PictureSize size(Grid grid) const { return size(largest_, grid); }

  // Adds a picture with what stands at the left and, where there is room, at the right under it. A
  // doubt is told in place of what is at the right.
  void add(RgbImage picture, std::string left, std::string right, Doubt doubt);

  // The pictures in rows of at most so many columns. Not called without pictures.
  RgbImage draw(uint32_t columns);

 private:
  struct Cell {
    RgbImage picture;
    std::string left;
    std::string right;
    Doubt doubt;
  };

  PictureSize size(PictureSize picture, Grid grid) const;
  PictureSize picture_size();
  void draw_caption(const Cell &cell, uint32_t x, uint32_t y, uint32_t width, RgbImage *sheet);

  PictureSize largest_;
  Lettering lettering_;
  uint32_t gap_;  // between pictures, and around all; pixels
  std::vector<Cell> cells_;
};

}  // namespace qomtool
