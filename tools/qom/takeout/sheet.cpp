#include "sheet.h"

#include <algorithm>

#include "scaling.h"
#include "text/quote.h"

namespace qomtool {
namespace {

constexpr uint32_t kMostInARow = 100;
constexpr Colour kGround = {0x24, 0x26, 0x2b};
constexpr Colour kText = {0xf2, 0xf2, 0xf2};
constexpr Colour kPaleText = {0xa8, 0xac, 0xb4};
constexpr Colour kDoubt = {0xff, 0x9b, 0x7a};

const char *word_for(Sheet::Doubt doubt) {
  return doubt == Sheet::Doubt::lossy ? "lossy" : "damaged";
}

uint32_t letter_size(PictureSize picture) {
  return std::clamp(10 + picture.height / 60, 12u, 32u);
}

}  // namespace

std::optional<Grid> parse_grid(const std::string &text) {
  const std::optional<PictureSize> sides = parse_size(text);
  if (!sides || sides->width > kMostInARow || sides->height > kMostInARow) return std::nullopt;
  return Grid{sides->width, sides->height};
}

std::string check_grid(const std::string &text) {
  if (parse_grid(text)) return "";
  return quoted(text) + " is no sheet: write 4x3, columns and rows, each at most " +
         std::to_string(kMostInARow);
}

Sheet::Sheet(PictureSize largest)
    : largest_(largest), lettering_(letter_size(largest)), gap_(lettering_.height() * 3 / 4) {}

PictureSize Sheet::size(PictureSize picture, Grid grid) const {
  const uint32_t caption = lettering_.height() + gap_ / 2;
  return {gap_ + grid.columns * (picture.width + gap_),
          gap_ + grid.rows * (picture.height + caption + gap_)};
}

void Sheet::add(RgbImage picture, std::string left, std::string right, Doubt doubt) {
  if (doubt != Doubt::none) right = word_for(doubt);
  cells_.push_back({std::move(picture), std::move(left), std::move(right), doubt});
}

// What all pictures fit into, and wide enough for what stands under them.
PictureSize Sheet::picture_size() {
  PictureSize size = {1, 1};
  for (const Cell &cell : cells_) {
    size.width = std::max({size.width, cell.picture.size.width, lettering_.width(cell.left)});
    size.height = std::max(size.height, cell.picture.size.height);
  }
  return size;
}

RgbImage Sheet::draw(uint32_t columns) {
  const auto count = static_cast<uint32_t>(cells_.size());
  columns = std::min(columns, count);
  const PictureSize most = picture_size();
  const PictureSize step = size(most, {1, 1});
  RgbImage sheet(size(most, {columns, (count + columns - 1) / columns}), kGround);
  for (uint32_t i = 0; i < count; ++i) {
    const Cell &cell = cells_[i];
    const uint32_t x = gap_ + i % columns * (step.width - gap_);
    const uint32_t y = gap_ + i / columns * (step.height - gap_);
    place(cell.picture, x + (most.width - cell.picture.size.width) / 2,
          y + (most.height - cell.picture.size.height) / 2, &sheet);
    draw_caption(cell, x, y + most.height + gap_ / 2, most.width, &sheet);
  }
  return sheet;
}

void Sheet::draw_caption(const Cell &cell, uint32_t x, uint32_t y, uint32_t width,
                         RgbImage *sheet) {
  const auto left = static_cast<int32_t>(x);
  const auto top = static_cast<int32_t>(y);
  lettering_.draw(cell.left, left, top, kText, sheet);
  const uint32_t right_width = lettering_.width(cell.right);
  if (lettering_.width(cell.left) + gap_ + right_width > width) return;
  lettering_.draw(cell.right, static_cast<int32_t>(x + width - right_width), top,
                  cell.doubt == Doubt::none ? kPaleText : kDoubt, sheet);
}

}  // namespace qomtool
