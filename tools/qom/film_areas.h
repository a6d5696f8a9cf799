// Film that was held back, in words and numbers.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "qom/qom.h"

namespace qomtool {

// All of a recording's marks; empty also when they cannot be read.
std::span<const QomFilmArea> film_areas_of(QomReader *reader);

// How much of a recording it was.
struct FilmShare {
  uint64_t time = 0;  // microseconds in which film was held back anywhere
  double area = 0;    // of all that the screen showed over `duration`, 0 to 1
};

// `duration` is the recording's, microseconds; the screen has the size in the header.
FilmShare film_share(std::span<const QomFilmArea> areas, const QomHeader &header,
                     uint64_t duration);

// "at most 2 pictures a second, lossy with quality 75"
std::string film_limits_text(const QomFilmArea &area);

// When it began, for how long it went on, where it was, and its limits.
std::string film_area_text(const QomFilmArea &area, uint64_t start);

}  // namespace qomtool
