// Pictures on their way into a film file.
#pragma once

#include "ffmpeg.h"
#include "film_format.h"
#include "film_picture.h"
#include "yuv_image.h"

namespace qomtool {

class Encoding {
 public:
  // For pictures of that size, each shown from one tick on, of which a second has so many. `side`
  // and `output` are those of Ffmpeg. Throws FfmpegError.
  Encoding(const FilmFormat &format, PictureSize size, uint32_t ticks, OutputFile *output,
           int side = -1);

  // The picture of a tick, behind those that were written. Throws FfmpegError.
  void write(uint64_t tick, FilmPicture *picture);

  // The film is whole. Throws FfmpegError.
  void finish() { ffmpeg_.finish(); }

 private:
  std::span<const uint8_t> bytes_of(FilmPicture *picture);

  uint32_t ticks_;
  std::optional<YuvImage> yuv_;
  Ffmpeg ffmpeg_;
};

}  // namespace qomtool
