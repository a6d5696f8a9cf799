// Pictures in another size.
#pragma once

#include <optional>
#include <string>

#include "rgb_image.h"

namespace qomtool {

// "WIDTHxHEIGHT"; nothing for anything else and for what is_allowed() refuses.
std::optional<PictureSize> parse_size(const std::string &text);

// For the command line: an empty text for a good size, otherwise what is wrong with it.
std::string check_size(const std::string &text);

// The largest size of the same shape within another one, at least one pixel a side.
PictureSize fitted(PictureSize picture, PictureSize within);

// Each pixel is the mean of the area of the picture that it covers, so that no line of a letter is
// left out where it gets smaller, and none is smeared where it gets larger: whole multiples repeat
// pixels. The mean is that of the bytes and not that of the light, which would make dark letters on
// light ground thinner.
RgbImage scaled(const RgbImage &picture, PictureSize size);

// The same for the rows of the scaled picture from `first` to in front of `end` alone, which are
// written to `out`.
void scale_rows(const RgbImage &picture, PictureSize size, uint32_t first, uint32_t end,
                uint8_t *out);

}  // namespace qomtool
