#include "raw_screen.h"

#include <cstring>

#include "masks.h"

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

ImagePtr RawScreen::picture(uint64_t time, bool *exact) {
  *exact = true;
  QomPicture picture;
  if (qom_screen_picture(screen_.get(), 0, &picture) != 0) return nullptr;
  const uint32_t stride = stride_of(*header_, picture.width, pixel_bytes_);
  std::vector<uint8_t> pixels(size_t{stride} * picture.height);
  bool has_black;
  const auto black = static_cast<uint8_t>(black_pixel(*header_, &has_black));
  bool all_drawn = true;
  for (size_t row = 0; row < picture.height; ++row) {
    const uint8_t *from = picture.pixels + row * picture.stride;
    uint8_t *to = pixels.data() + row * stride;
    if (pixel_bytes_ == 1)
      all_drawn = take_row(from, to, picture.width, black) && all_drawn;
    else
      std::memcpy(to, from, picture.width * pixel_bytes_);
  }
  *exact = all_drawn || has_black;
  const QomImage image{QOM_IMAGE,
                       time,
                       picture.width,
                       picture.height,
                       0,
                       0,
                       header_->pixel_format,
                       header_->scanline_pad,
                       stride,
                       static_cast<uint32_t>(pixels.size()),
                       pixels.data()};
  return ImagePtr(reinterpret_cast<QomImage *>(qom_record_dup(&image)));
}

}  // namespace qomtool
