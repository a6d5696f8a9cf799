#include "encoding.h"

namespace qomtool {
namespace {

constexpr const char *kKeyEvery = "expr:if(isnan(prev_forced_t),1,gte(t,prev_forced_t+20))";

// The pictures get into the film with their times, and every twenty seconds of changes there is one
// that players can begin with.
std::vector<std::string> options_of(const FilmFormat &format, uint32_t ticks) {
  std::vector<std::string> options = {"-fps_mode",         "passthrough",
                                      "-enc_time_base",    "1:" + std::to_string(ticks),
                                      "-force_key_frames", kKeyEvery};
  options.insert(options.end(), format.options.begin(), format.options.end());
  return options;
}

std::span<const uint8_t> bytes_of(const std::string &text) {
  return {reinterpret_cast<const uint8_t *>(text.data()), text.size()};
}

}  // namespace

Encoding::Encoding(const FilmFormat &format, PictureSize size, uint32_t ticks, OutputFile *output)
    : ticks_(ticks), ffmpeg_(options_of(format, ticks), output) {
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
