#include "encoding.h"

namespace qomtool {
namespace {

std::span<const uint8_t> bytes_of(const std::string &text) {
  return {reinterpret_cast<const uint8_t *>(text.data()), text.size()};
}

}  // namespace

Encoding::Encoding(const FilmFormat &format, PictureSize size, uint32_t ticks, OutputFile *output,
                   int side)
    : ticks_(ticks), ffmpeg_(format.options, output, side) {
  if (format.pixels == RawPixels::yuv420p) yuv_.emplace(size);
  ffmpeg_.write(qomtool::bytes_of(raw_film_head(size, format.pixels, 1'000'000'000 / ticks)));
}

void Encoding::write(uint64_t tick, FilmPicture *picture) {
  const std::span<const uint8_t> bytes = bytes_of(picture);
  const uint64_t milliseconds = (tick * 1000 + ticks_ / 2) / ticks_;
  ffmpeg_.write(qomtool::bytes_of(raw_picture_head(milliseconds, bytes.size())));
  ffmpeg_.write(bytes);
}

std::span<const uint8_t> Encoding::bytes_of(FilmPicture *picture) {
  const std::vector<QomRectangle> changes = picture->take_changes();
  if (!yuv_) return picture->image().pixels;
  for (const QomRectangle &area : changes) yuv_->take(picture->image(), area);
  return yuv_->bytes();
}

}  // namespace qomtool
