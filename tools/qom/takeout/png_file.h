// PNG files.
#pragma once

#include <cstdio>
#include <span>
#include <string>

#include "rgb_image.h"

namespace qomtool {

// A text of a PNG file.
struct PngText {
  std::string key;    // 1 to 79 ASCII letters
  std::string value;  // any bytes; what is not fit to be shown is escaped
};

// Writes a picture, exact and without anything that differs from time to time: 8 bits a channel,
// texts as UTF-8. Returns what went wrong, an empty text when all was written.
std::string write_png(std::FILE *file, const RgbImage &image, std::span<const PngText> texts);

}  // namespace qomtool
