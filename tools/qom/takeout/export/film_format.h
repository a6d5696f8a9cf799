// The kinds of film files.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "raw_film.h"

namespace qomtool {

struct FilmFormat {
  RawPixels pixels;                  // that ffmpeg gets
  std::vector<std::string> options;  // with which it makes the file of them
  bool has_palette = false;          // which it reads from its standard output, as of Ffmpeg
};

// Writes the palette of all pictures there.
FilmFormat palette_format();

// For the command line: an empty text when the ending of a name tells a kind of film, otherwise
// what is wrong with it.
std::string check_film_name(const std::string &name);

// The format of a name that is good, for pictures that are shown from ticks on, of which a second
// has so many; nothing when this kind cannot be `lossless`.
std::optional<FilmFormat> film_format(const std::string &name, bool lossless, uint32_t ticks);

}  // namespace qomtool
