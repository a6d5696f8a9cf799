#include "masks.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <new>
#include <utility>

#include "qom/writer.h"
#include "text/quote.h"

namespace qomtool {
namespace {

constexpr int32_t kLargestPlace = 65536;  // right and bottom border

// Takes a number and the character behind it (none at the end, for '\0') off the text.
bool take(std::string_view &text, int32_t &number, char behind) {
  const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || text.empty() || text[0] == '-') return false;
  text.remove_prefix(static_cast<size_t>(rest - text.data()));
  if (behind == 0) return text.empty();
  if (text.empty() || text[0] != behind) return false;
  text.remove_prefix(1);
  return true;
}

// Pixels of a still depend on those up to so many pixels away, with which they share the squares of
// 16 pixels that it is made of.
constexpr int32_t kReach = 15;
constexpr size_t kMostLossyAreas = 4096;  // looked at one by one

QomRectangle common_part(const QomRectangle &a, const QomRectangle &b) {
  const int32_t x = std::max(a.x, b.x);
  const int32_t y = std::max(a.y, b.y);
  return {x, y, std::min(a.x + a.width, b.x + b.width) - x,
          std::min(a.y + a.height, b.y + b.height) - y};
}

bool shares_pixels(const QomRectangle &a, int32_t x, int32_t y, int32_t width, int32_t height) {
  return x < a.x + a.width && a.x < x + width && y < a.y + a.height && a.y < y + height;
}

// Compressing fails for want of memory alone here.
template <typename Compressed>
RecordPtr compressed_record(Compressed *compressed) {
  if (!compressed) throw std::bad_alloc();
  return RecordPtr(reinterpret_cast<QomRecord *>(compressed));
}

}  // namespace

std::optional<QomRectangle> parse_mask(const std::string &text) {
  QomRectangle mask{};
  std::string_view rest = text;
  if (!take(rest, mask.width, 'x') || !take(rest, mask.height, '+') || !take(rest, mask.x, '+') ||
      !take(rest, mask.y, 0))
    return std::nullopt;
  if (mask.width == 0 || mask.height == 0 || mask.x >= kLargestPlace || mask.y >= kLargestPlace ||
      mask.width > kLargestPlace - mask.x || mask.height > kLargestPlace - mask.y)
    return std::nullopt;
  return mask;
}

std::string check_mask(const std::string &text) {
  if (parse_mask(text)) return "";
  return qomtool::quoted(text) +
         " is not an area: write WIDTHxHEIGHT+X+Y, whole numbers of pixels, such as "
         "200x40+10+300; it may reach to " +
         std::to_string(kLargestPlace) + " at the right and at the bottom";
}

uint32_t black_pixel(const QomHeader &header, bool *exact) {
  *exact = true;
  if (header.pixel_format != PALETTE8) return 0;
  const auto light = [&header](uint32_t pixel) {
    const RgbValue &value = header.palette[pixel];
    return (value.red & 255) + (value.green & 255) + (value.blue & 255);
  };
  uint32_t darkest = 0;
  for (uint32_t pixel = 1; pixel < std::min<uint32_t>(header.palette_size, 256); ++pixel) {
    if (light(pixel) < light(darkest)) darkest = pixel;
  }
  if (header.palette_size > 0 && light(darkest) == 0) return darkest;
  // Pixels behind a short palette are shown black.
  if (header.palette_size < 256) return header.palette_size;
  *exact = false;
  return darkest;
}

Masks::Masks(std::vector<QomRectangle> areas, const QomHeader &header)
    : areas_(std::move(areas)),
      header_(header),
      pixel_bytes_(pixel_format_bytes_per_pixel(header.pixel_format)) {
  bool exact;
  black_ = black_pixel(header, &exact);
}

bool Masks::meet(int32_t x, int32_t y, int32_t width, int32_t height) const {
  return std::any_of(areas_.begin(), areas_.end(), [=](const QomRectangle &area) {
    return shares_pixels(area, x, y, width, height);
  });
}

// The areas, and around them what is lossy and would tell of what they hide.
Masks::Areas Masks::around(const Areas &lossy) const {
  Areas areas = areas_;
  for (const QomRectangle &mask : areas_) {
    const QomRectangle reach = {mask.x - kReach, mask.y - kReach, mask.width + 2 * kReach,
                                mask.height + 2 * kReach};
    if (lossy.size() > kMostLossyAreas) {
      areas.push_back(reach);
      continue;
    }
    for (const QomRectangle &area : lossy) {
      const QomRectangle part = common_part(area, reach);
      if (part.width > 0 && part.height > 0) areas.push_back(part);
    }
  }
  return areas;
}

bool Masks::concern(const QomImage &image, const Areas &areas) const {
  const size_t row = image.width * pixel_bytes_;
  const size_t stride =
      stride_in_bytes(image.width, static_cast<uint8_t>(pixel_bytes_ * 8), header_.scanline_pad);
  return stride > row || std::any_of(areas.begin(), areas.end(), [&](const QomRectangle &area) {
           return shares_pixels(area, image.x, image.y, image.width, image.height);
         });
}

bool Masks::blank(QomImage *image) const {
  return blank(image, areas_);
}

bool Masks::blank(QomImage *image, const Areas &areas) const {
  if (!concern(*image, areas)) return false;
  const size_t row_bytes = image->width * pixel_bytes_;
  const size_t stride =
      stride_in_bytes(image->width, static_cast<uint8_t>(pixel_bytes_ * 8), header_.scanline_pad);
  for (int32_t row = 0; row < image->height; ++row) {
    uint8_t *pixels = image->data + static_cast<size_t>(row) * stride;
    std::memset(pixels + row_bytes, 0, stride - row_bytes);
    for (const QomRectangle &area : areas) {
      if (!shares_pixels(area, image->x, image->y + row, image->width, 1)) continue;
      const int32_t begin = std::max(area.x - image->x, 0);
      const int32_t end = std::min<int32_t>(area.x + area.width - image->x, image->width);
      for (int32_t x = begin; x < end; ++x)  // little-endian: the low bytes of the pixel
        std::memcpy(pixels + static_cast<size_t>(x) * pixel_bytes_, &black_, pixel_bytes_);
    }
  }
  return true;
}

// *whole: whether the blocks reach exactly to the end of their data.
bool Masks::blank(QomImageBlocks *blocks, const Areas &areas, bool *whole) const {
  bool changed = false;
  size_t offset = 0;
  QomImage block;
  int found;
  while ((found = qom_image_blocks_next(blocks, &header_, &offset, &block)) == 1) {
    changed = blank(&block, areas) || changed;
  }
  *whole = found == 0;
  return changed;
}

RecordPtr Masks::blanked(const QomCompressedImage *compressed) const {
  const ImagePtr image(qom_image_uncompress(compressed));
  if (!image) return nullptr;
  Areas lossy = lossy_areas(compressed);
  blank(image.get(), around(lossy));
  for (QomRectangle &area : lossy) {
    area.x -= image->x;
    area.y -= image->y;
  }
  return compressed_record(qom_image_compress_marked(image.get(), lossy.data(), lossy.size()));
}

// Where the blocks lie is in their compressed bytes.
RecordPtr Masks::blanked(RecordPtr record, const QomCompressedImageBlocks *compressed) const {
  const BlocksPtr blocks(qom_image_blocks_uncompress(compressed));
  bool whole = false;
  const Areas lossy = lossy_areas(compressed);
  const bool changed = blocks && blank(blocks.get(), around(lossy), &whole);
  if (!whole) return nullptr;
  if (!changed) return record;
  return compressed_record(qom_image_blocks_compress_marked(blocks.get(), header_.pixel_format,
                                                            lossy.data(), lossy.size()));
}

RecordPtr Masks::blanked(RecordPtr record) const {
  if (areas_.empty()) return record;
  switch (record->type) {
    case QOM_IMAGE:
      blank(reinterpret_cast<QomImage *>(record.get()));
      return record;
    case QOM_COMPRESSED_IMAGE: {
      const auto &image = as<QomCompressedImage>(record.get());
      QomImage geometry{};
      geometry.width = image.width;
      geometry.height = image.height;
      geometry.x = image.x;
      geometry.y = image.y;
      return concern(geometry, around(lossy_areas(record.get()))) ? blanked(&image) : std::move(record);
    }
    case QOM_IMAGE_BLOCKS: {
      bool whole;
      blank(reinterpret_cast<QomImageBlocks *>(record.get()), areas_, &whole);
      return whole ? std::move(record) : nullptr;
    }
    case QOM_COMPRESSED_IMAGE_BLOCKS: {
      const auto *blocks = &as<QomCompressedImageBlocks>(record.get());
      return blanked(std::move(record), blocks);
    }
    default:
      return record;
  }
}

}  // namespace qomtool
