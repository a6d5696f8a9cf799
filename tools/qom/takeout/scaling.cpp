#include "scaling.h"

#include <algorithm>
#include <charconv>

#include "text/quote.h"

namespace qomtool {
namespace {

// The pixels of the old side that a pixel of the new side covers, with how much of each. A pixel of
// the new side counts as long as the old side has pixels, and the other way round.
struct Cover {
  uint32_t begin;
  uint32_t end;
  uint32_t first;  // how much of `begin`
  uint32_t last;   // how much of `end` - 1, when it is another one
};

Cover cover_of(uint32_t pixel, uint32_t from, uint32_t to) {
  const uint64_t begin = uint64_t{pixel} * from;
  const uint64_t end = begin + from;
  Cover cover;
  cover.begin = static_cast<uint32_t>(begin / to);
  cover.end = static_cast<uint32_t>((end + to - 1) / to);
  cover.first = static_cast<uint32_t>(std::min(end, (uint64_t{cover.begin} + 1) * to) - begin);
  cover.last = static_cast<uint32_t>(end - (uint64_t{cover.end} - 1) * to);
  return cover;
}

// Calls add(pixel, weight) for each covered pixel; the weights add up to the length of the old
// side.
template <typename Add>
void for_each(const Cover &cover, uint32_t full, Add add) {
  add(cover.begin, cover.first);
  for (uint32_t i = cover.begin + 1; i + 1 < cover.end; ++i) add(i, full);
  if (cover.end > cover.begin + 1) add(cover.end - 1, cover.last);
}

// The sums of a row's pixels by their weights.
void sum_row(const uint8_t *row, const std::vector<Cover> &columns, uint32_t *sums) {
  const auto full = static_cast<uint32_t>(columns.size());
  for (const Cover &column : columns) {
    uint32_t red = 0, green = 0, blue = 0;
    for_each(column, full, [&](uint32_t x, uint32_t weight) {
      const uint8_t *pixel = row + size_t{x} * 3;
      red += pixel[0] * weight;
      green += pixel[1] * weight;
      blue += pixel[2] * weight;
    });
    *sums++ = red;
    *sums++ = green;
    *sums++ = blue;
  }
}

std::optional<uint32_t> parse_side(std::string_view text) {
  uint32_t value = 0;
  const char *end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || rest != end) return std::nullopt;
  return value;
}

uint32_t share(uint32_t side, uint32_t part, uint32_t whole) {
  const uint64_t value = (uint64_t{side} * part + whole / 2) / whole;
  return static_cast<uint32_t>(std::max<uint64_t>(1, value));
}

}  // namespace

std::optional<PictureSize> parse_size(const std::string &text) {
  const size_t by = std::min(text.find('x'), text.size());
  const std::string_view view = text;
  const std::optional<uint32_t> width = parse_side(view.substr(0, by));
  const std::optional<uint32_t> height = parse_side(view.substr(std::min(by + 1, text.size())));
  if (!width || !height || !is_allowed({*width, *height})) return std::nullopt;
  return PictureSize{*width, *height};
}

std::string check_size(const std::string &text) {
  if (parse_size(text)) return "";
  return quoted(text) + " is no size: write 1280x720, each side at most " +
         std::to_string(QOM_MAX_SIDE) + " and at most " + std::to_string(QOM_MAX_DATA / 4 >> 20) +
         " million pixels in all";
}

PictureSize fitted(PictureSize picture, PictureSize within) {
  const bool is_wider =
      uint64_t{picture.width} * within.height > uint64_t{within.width} * picture.height;
  if (is_wider) return {within.width, share(picture.height, within.width, picture.width)};
  return {share(picture.width, within.height, picture.height), within.height};
}

RgbImage scaled(const RgbImage &picture, PictureSize size) {
  if (size.width == picture.size.width && size.height == picture.size.height) return picture;
  RgbImage image(size);
  scale_rows(picture, size, 0, size.height, image.pixels.data());
  return image;
}

void scale_rows(const RgbImage &picture, PictureSize size, uint32_t first, uint32_t end,
                uint8_t *out) {
  std::vector<Cover> columns(size.width);
  for (uint32_t x = 0; x < size.width; ++x)
    columns[x] = cover_of(x, picture.size.width, size.width);
  const size_t values = size_t{size.width} * 3;
  const uint64_t area = uint64_t{picture.size.width} * picture.size.height;
  std::vector<uint32_t> sums(values);
  std::vector<uint64_t> totals(values);
  uint32_t summed = UINT32_MAX;  // the row in `sums`, which the next row may cover as well
  for (uint32_t y = first; y < end; ++y) {
    std::fill(totals.begin(), totals.end(), 0);
    for_each(cover_of(y, picture.size.height, size.height), size.height,
             [&](uint32_t row, uint32_t weight) {
               if (row != summed) sum_row(picture.row(row), columns, sums.data());
               summed = row;
               for (size_t i = 0; i < values; ++i) totals[i] += uint64_t{sums[i]} * weight;
             });
    for (size_t i = 0; i < values; ++i)
      *out++ = static_cast<uint8_t>((totals[i] + area / 2) / area);
  }
}

}  // namespace qomtool
