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

bool Masks::concern(const QomImage &image) const {
  const size_t row = image.width * pixel_bytes_;
  const size_t stride =
      stride_in_bytes(image.width, static_cast<uint8_t>(pixel_bytes_ * 8), header_.scanline_pad);
  return stride > row || meet(image.x, image.y, image.width, image.height);
}

bool Masks::blank(QomImage *image) const {
  if (!concern(*image)) return false;
  const size_t row_bytes = image->width * pixel_bytes_;
  const size_t stride =
      stride_in_bytes(image->width, static_cast<uint8_t>(pixel_bytes_ * 8), header_.scanline_pad);
  for (int32_t row = 0; row < image->height; ++row) {
    uint8_t *pixels = image->data + static_cast<size_t>(row) * stride;
    std::memset(pixels + row_bytes, 0, stride - row_bytes);
    for (const QomRectangle &area : areas_) {
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
bool Masks::blank(QomImageBlocks *blocks, bool *whole) const {
  bool changed = false;
  size_t offset = 0;
  QomImage block;
  int found;
  while ((found = qom_image_blocks_next(blocks, &header_, &offset, &block)) == 1) {
    changed = blank(&block) || changed;
  }
  *whole = found == 0;
  return changed;
}

RecordPtr Masks::blanked(const QomCompressedImage *compressed) const {
  const ImagePtr image(qom_image_uncompress(compressed));
  if (!image) return nullptr;
  blank(image.get());
  return compressed_record(qom_image_compress(image.get()));
}

// Where the blocks lie is in their compressed bytes.
RecordPtr Masks::blanked(RecordPtr record, const QomCompressedImageBlocks *compressed) const {
  const BlocksPtr blocks(qom_image_blocks_uncompress(compressed));
  bool whole = false;
  const bool changed = blocks && blank(blocks.get(), &whole);
  if (!whole) return nullptr;
  return changed ? compressed_record(qom_image_blocks_compress(blocks.get())) : std::move(record);
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
      return concern(geometry) ? blanked(&image) : std::move(record);
    }
    case QOM_IMAGE_BLOCKS: {
      bool whole;
      blank(reinterpret_cast<QomImageBlocks *>(record.get()), &whole);
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
