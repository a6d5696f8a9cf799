// The film of a stretch of a recording.
#pragma once

#include <optional>
#include <string>

#include "caption.h"
#include "film_format.h"
#include "output_file.h"
#include "rgb_image.h"
#include "source.h"
#include "timeline.h"

namespace qomtool {

struct FilmWishes {
  Stretch stretch;
  Pace pace;
  std::optional<PictureSize> size;  // into which the film is fitted
  bool with_cursor = true;
  bool in_natural_size = false;  // screens that are smaller than the largest one
  Caption::Wishes caption;
};

// Writes it to the file, with ffmpeg. Throws SourceError, OutputError and LetteringError.
void write_film(const Source &source, const FilmWishes &wishes, const FilmFormat &format,
                const std::string &name, OutputFile::Existing existing);

}  // namespace qomtool
