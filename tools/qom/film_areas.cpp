#include "film_areas.h"

#include <algorithm>
#include <vector>

#include "clock.h"
#include "formatted.h"

namespace qomtool {

std::span<const QomFilmArea> film_areas_of(QomReader *reader) {
  size_t count = 0;
  const QomFilmArea *areas = qom_reader_film_areas(reader, &count);
  return {areas, areas ? count : 0};
}

// Areas at the same time lie beside each other, or nearly so: what overlaps counts twice.
FilmShare film_share(std::span<const QomFilmArea> areas, const QomHeader &header,
                     uint64_t duration) {
  const uint64_t last = header.timestamp + duration;
  FilmShare share;
  std::vector<std::pair<uint64_t, uint64_t>> times;
  double pixels = 0;  // times microseconds
  for (const QomFilmArea &area : areas) {
    const uint64_t begin = std::clamp(area.begin, header.timestamp, last);
    const uint64_t end = std::clamp(area.end, begin, last);
    times.emplace_back(begin, end);
    pixels += static_cast<double>(end - begin) * area.width * area.height;
  }
  std::sort(times.begin(), times.end());
  uint64_t counted = 0;  // all up to here
  for (const auto &[begin, end] : times) {
    if (end <= counted) continue;
    share.time += end - std::max(begin, counted);
    counted = end;
  }
  const double all = static_cast<double>(duration) * header.width * header.height;
  if (all > 0) share.area = std::min(pixels / all, 1.0);
  return share;
}

std::string film_limits_text(const QomFilmArea &area) {
  std::string text;
  if (area.rate > 0)
    text = area.rate == 1000 ? "at most 1 picture a second"
                             : formatted("at most %g pictures a second", area.rate / 1000.0);
  if (area.quality > 0) {
    if (!text.empty()) text += ", ";
    text += formatted("lossy with quality %d", area.quality);
  }
  return text.empty() ? "exactly" : text;
}

std::string film_area_text(const QomFilmArea &area, uint64_t start) {
  return elapsed_time(area.begin, area.end) + " from " + elapsed_time(start, area.begin) + " on (" +
         local_time(area.begin) +
         formatted("), %dx%d+%d+%d: ", area.width, area.height, area.x, area.y) +
         film_limits_text(area);
}

}  // namespace qomtool
