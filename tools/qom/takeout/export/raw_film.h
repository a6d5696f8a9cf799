// Films of raw pictures with their times, as a pipe takes them: Matroska, the part of it that this
// needs.
#pragma once

#include <cstdint>
#include <string>

#include "rgb_image.h"

namespace qomtool {

enum class RawPixels {
  rgb,      // three bytes a pixel
  yuv420p,  // YuvImage
};

// What comes before the first picture. Each picture lasts `duration` nanoseconds at least.
std::string raw_film_head(PictureSize size, RawPixels pixels, uint64_t duration);

// What comes before the `bytes` of each picture. `time`: milliseconds since the first one.
std::string raw_picture_head(uint64_t time, uint64_t bytes);

}  // namespace qomtool
