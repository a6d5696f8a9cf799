#include "film_log.h"

#include <utility>

#include "clock.h"

namespace qom::record {
namespace {

constexpr int64_t longest = 10 * second;  // of a stretch that is told of at once

}  // namespace

// A film that grows, shrinks or moves a little goes on; two that come to touch become one.
std::vector<FilmStretch> FilmLog::update(const std::vector<Rectangle> &areas, int64_t now) {
  std::vector<FilmStretch> before = std::exchange(open_, {});
  for (const Rectangle &area : areas) {
    FilmStretch stretch{area, now, now};
    std::erase_if(before, [&](const FilmStretch &old) {
      if (intersection(old.area, area).empty()) return false;
      stretch = {bounding(stretch.area, old.area), std::min(stretch.begin, old.begin), now};
      return true;
    });
    open_.push_back(stretch);
  }
  for (FilmStretch &stretch : before) stretch.end = now;
  for (FilmStretch &stretch : open_) {
    if (now - stretch.begin < longest) continue;
    before.push_back(stretch);
    stretch = {stretch.area, now, now};
  }
  return before;
}

}  // namespace qom::record
