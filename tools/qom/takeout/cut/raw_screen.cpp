#include "raw_screen.h"

#include <algorithm>
#include <cstring>

#include "masks.h"
#include "qom/writer.h"

namespace qomtool {
namespace {

// Formats of pictures whose pixels have room for those of the recording. Pixels of 8 bits are kept
// in 16 with 1 added, so that 0 is left for what was never drawn.
PixelFormat picture_format(size_t pixel_bytes) {
  return pixel_bytes == 4 ? xRGB8888 : RGB565;
}

template <typename From, typename To>
void keep_row(const uint8_t *from, uint8_t *to, size_t pixels, unsigned added) {
  for (size_t i = 0; i < pixels; ++i) {
    From pixel;
    std::memcpy(&pixel, from + i * sizeof(From), sizeof pixel);
    const To kept = static_cast<To>(pixel + added);
    std::memcpy(to + i * sizeof(To), &kept, sizeof kept);
  }
}

uint32_t stride_of(const QomHeader &header, size_t width, size_t pixel_bytes) {
  return stride_in_bytes(static_cast<uint32_t>(width), static_cast<uint8_t>(pixel_bytes * 8),
                         header.scanline_pad);
}

QomRectangle bounds_of(const QomRectangle &a, const QomRectangle &b) {
  const int32_t x = std::min(a.x, b.x);
  const int32_t y = std::min(a.y, b.y);
  return {x, y, std::max(a.x + a.width, b.x + b.width) - x,
          std::max(a.y + a.height, b.y + b.height) - y};
}

// Where copies have drawn, each place once where they are few: no more pixels than the picture has.
std::vector<QomRectangle> targets_in(const QomPicture &picture, const QomCopyArea &copied) {
  std::vector<QomRectangle> areas;
  QomRectangle bounds = {};
  int64_t pixels = 0;
  for (uint32_t i = 0; i < copied.count; ++i) {
    QomImage target{};
    target.x = copied.copies[i].to_x;
    target.y = copied.copies[i].to_y;
    target.width = copied.copies[i].width;
    target.height = copied.copies[i].height;
    const QomRectangle area = qom_picture_clip(&picture, &target);
    if (area.width == 0) continue;
    bounds = areas.empty() ? area : bounds_of(bounds, area);
    pixels += int64_t{area.width} * area.height;
    areas.push_back(area);
  }
  if (areas.size() > 1 && pixels >= int64_t{bounds.width} * bounds.height) areas = {bounds};
  return areas;
}

// The bytes of a row that was kept with 1 added; false when a pixel was never drawn.
bool take_row(const uint8_t *from, uint8_t *to, size_t pixels, uint8_t never_drawn) {
  bool all_drawn = true;
  for (size_t i = 0; i < pixels; ++i) {
    uint16_t kept;
    std::memcpy(&kept, from + i * sizeof kept, sizeof kept);
    to[i] = kept == 0 ? never_drawn : static_cast<uint8_t>(kept - 1);
    all_drawn = all_drawn && kept != 0;
  }
  return all_drawn;
}

}  // namespace

RawScreen::RawScreen(QomReader *reader)
    : header_(qom_info_header(reader)),
      pixel_bytes_(pixel_format_bytes_per_pixel(header_->pixel_format)) {
  QomScreenOptions options{};
  options.pixel_format = picture_format(pixel_bytes_);
  options.spacing = QOM_MAX_TIME;  // it moves only once
  options.draw = draw;
  options.context = this;
  screen_.reset(qom_screen_open(reader, &options));
}

void RawScreen::draw(void *self, const QomImage *image, const QomPicture *picture) {
  const auto &screen = *static_cast<const RawScreen *>(self);
  const size_t from_bytes = screen.pixel_bytes_;
  const size_t to_bytes = pixel_format_bytes_per_pixel(picture->pixel_format);
  const QomRectangle area = qom_picture_clip(picture, image);
  const uint32_t stride = stride_of(*screen.header_, image->width, from_bytes);
  for (int32_t row = 0; row < area.height; ++row) {
    const uint8_t *from = image->data + static_cast<size_t>(area.y - image->y + row) * stride +
                          static_cast<size_t>(area.x - image->x) * from_bytes;
    uint8_t *to = picture->pixels + static_cast<size_t>(area.y + row) * picture->stride +
                  static_cast<size_t>(area.x) * to_bytes;
    const auto width = static_cast<size_t>(area.width);
    if (from_bytes == to_bytes)
      std::memcpy(to, from, width * to_bytes);
    else
      keep_row<uint8_t, uint16_t>(from, to, width, 1);
  }
}

bool RawScreen::go_to(size_t record) {
  return qom_screen_go(screen_.get(), record) == QOM_SCREEN_REACHED;
}

// An area of the picture, inside it, as it would be recorded.
ImagePtr RawScreen::image(const QomPicture &picture, const QomRectangle &area, uint64_t time,
                          bool *all_drawn) const {
  const auto width = static_cast<uint16_t>(area.width);
  const auto height = static_cast<uint16_t>(area.height);
  const size_t kept_bytes = pixel_format_bytes_per_pixel(picture.pixel_format);
  const uint32_t stride = stride_of(*header_, width, pixel_bytes_);
  std::vector<uint8_t> pixels(size_t{stride} * height);
  bool has_black;
  const auto black = static_cast<uint8_t>(black_pixel(*header_, &has_black));
  *all_drawn = true;
  for (size_t row = 0; row < height; ++row) {
    const uint8_t *from = picture.pixels + (static_cast<size_t>(area.y) + row) * picture.stride +
                          static_cast<size_t>(area.x) * kept_bytes;
    uint8_t *to = pixels.data() + row * stride;
    if (pixel_bytes_ == 1)
      *all_drawn = take_row(from, to, width, black) && *all_drawn;
    else
      std::memcpy(to, from, width * pixel_bytes_);
  }
  const QomImage image{QOM_IMAGE,
                       time,
                       width,
                       height,
                       static_cast<int16_t>(area.x),
                       static_cast<int16_t>(area.y),
                       header_->pixel_format,
                       header_->scanline_pad,
                       stride,
                       static_cast<uint32_t>(pixels.size()),
                       pixels.data()};
  return ImagePtr(reinterpret_cast<QomImage *>(qom_record_dup(&image)));
}

ImagePtr RawScreen::picture(uint64_t time, bool *exact) {
  *exact = true;
  QomPicture picture;
  if (qom_screen_picture(screen_.get(), 0, &picture) != 0) return nullptr;
  bool has_black;
  black_pixel(*header_, &has_black);
  bool all_drawn;
  ImagePtr whole = image(picture, {0, 0, picture.width, picture.height}, time, &all_drawn);
  *exact = all_drawn || has_black;
  return whole;
}

std::vector<QomRectangle> RawScreen::lossy() const {
  std::vector<QomRectangle> areas(QOM_MAX_LOSSY_AREAS);
  areas.resize(qom_screen_lossy(screen_.get(), areas.data(), areas.size()));
  return areas;
}

RecordPtr RawScreen::targets(const QomCopyArea &copied) {
  QomPicture picture;
  if (qom_screen_picture(screen_.get(), 0, &picture) != 0) return nullptr;
  std::vector<uint8_t> bytes;
  for (const QomRectangle &area : targets_in(picture, copied)) {
    bool all_drawn;
    const ImagePtr drawn = image(picture, area, copied.timestamp, &all_drawn);
    if (!drawn) return nullptr;
    const uint16_t head[] = {static_cast<uint16_t>(drawn->x), static_cast<uint16_t>(drawn->y),
                             drawn->width, drawn->height};
    const auto *begin = reinterpret_cast<const uint8_t *>(head);
    bytes.insert(bytes.end(), begin, begin + sizeof head);
    bytes.insert(bytes.end(), drawn->data, drawn->data + drawn->length);
  }
  const QomImageBlocks blocks{QOM_IMAGE_BLOCKS, copied.timestamp,
                              static_cast<uint32_t>(bytes.size()), bytes.data()};
  const std::vector<QomRectangle> marks = lossy();  // of the targets, and others, which have them
  return RecordPtr(reinterpret_cast<QomRecord *>(qom_image_blocks_compress_marked(
      &blocks, header_->pixel_format, marks.data(), marks.size())));
}

}  // namespace qomtool
