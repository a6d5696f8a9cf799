// A film, and what is over and beside it, as a reader of the recording comes to see them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <random>

#include "clock.h"
#include "film_areas.h"
#include "film_log.h"

namespace qom::record {
namespace {

constexpr Rectangle screen{0, 0, 601, 397};
constexpr Rectangle film{100, 37, 333, 203};
constexpr Rectangle menu{230, 90, 97, 61};
constexpr Rectangle inside_of_menu{246, 98, 65, 45};  // whole cells
constexpr Rectangle terminal{448, 60, 150, 300};
constexpr int64_t frame = second / 10;

using Pixels = std::vector<uint32_t>;

// What is on the screen, what the recorder holds, and what a reader has been told.
class Desk {
 public:
  explicit Desk(const FilmLimits &limits)
      : areas_(screen.width, screen.height, xRGB8888, xRGB8888, limits) {}

  uint32_t &at(int x, int y) { return shown_[y * screen.width + x]; }

  void draw(const Rectangle &area, const std::function<uint32_t(int x, int y)> &pixel) {
    drawn_.mark(area);
    for (int y = area.y; y < area.y + area.height; y++) {
      for (int x = area.x; x < area.x + area.width; x++) at(x, y) = pixel(x, y);
    }
  }

  // The next picture of a film; what is over it comes after it.
  void play() {
    step_++;
    draw(film, [this](int x, int y) {
      const double wave = std::sin(0.03 * x + 0.2 * step_) + std::cos(0.04 * y - 0.1 * step_);
      const auto level = static_cast<uint32_t>(120 + 50 * wave) + random_() % 4;
      return static_cast<uint32_t>(level << 16 | (level + x % 7) << 8 | (255 - level));
    });
  }

  // One row of each cell, by which none is judged.
  void play_between() {
    for (int y = film.y / fine_height * fine_height + fine_height; y < film.y + film.height;
         y += fine_height) {
      draw({film.x, y + 3, film.width, 1},
           [this](int column, int row) { return at(column, row) ^ 0x010101; });
    }
  }

  // Letters of two colours.
  void write(const Rectangle &area) {
    draw(area, [this](int x, int y) {
      return x % 8 < 6 && y % 12 < 9 && random_() % 2 ? 0x111111u : 0xeeeeeeu;
    });
  }

  void look() {
    now_ += frame;
    areas_.ask(now_, drawn_);
    std::vector<Grab> grabs;
    for (const Rectangle &area : drawn_.rectangles(1)) {
      grabs.push_back({area, reinterpret_cast<uint8_t *>(&at(area.x, area.y)), 4 * screen.width});
    }
    drawn_.clear();
    lossy_pixels = 0;
    for (const Grab &grab : areas_.sift(picture_, grabs, now_)) {
      picture_.update(grab, changed_);
      tell(grab.area, 1);
      lossy_pixels += grab.area.width * grab.area.height;
    }
    areas_.learn(picture_, grabs, now_);
    take_over(grabs);
  }

  void settle() { take_over(areas_.settle()); }

  // Pixels of the area that a reader has otherwise than they are, or not exactly.
  int wrong(const Rectangle &area) {
    int count = 0;
    for (int y = area.y; y < area.y + area.height; y++) {
      for (int x = area.x; x < area.x + area.width; x++) {
        count += read_[y * screen.width + x] != at(x, y);
      }
    }
    return count;
  }
  int wrong() { return wrong(screen); }

  FilmAreas &areas() { return areas_; }
  int64_t now() const { return now_; }
  int lossy_pixels = 0;  // of the last look
  int exact_pixels = 0;

 private:
  // Losses are told by the unused bits of a pixel.
  void tell(const Rectangle &area, uint32_t losses) {
    for (int y = area.y; y < area.y + area.height; y++) {
      for (int x = area.x; x < area.x + area.width; x++) {
        uint32_t pixel;
        std::memcpy(&pixel, picture_.pixels(x, y), sizeof pixel);
        read_[y * screen.width + x] = pixel | losses << 24;
      }
    }
  }

  void take_over(const std::vector<Grab> &grabs) {
    changed_.clear();
    for (const Grab &grab : grabs) picture_.update(grab, changed_);
    areas_.restate(grabs, changed_);
    exact_pixels = 0;
    for (const Rectangle &area : changed_.rectangles(2)) {
      tell(area, 0);
      exact_pixels += area.width * area.height;
    }
  }

  FilmAreas areas_;
  Picture picture_{screen.width, screen.height, xRGB8888, xRGB8888};
  CellMap drawn_{screen.width, screen.height, 64, 16};
  CellMap changed_{screen.width, screen.height, fine_width, fine_height};
  Pixels shown_ = Pixels(size_t{screen.width} * screen.height);
  Pixels read_ = shown_;
  std::mt19937 random_{7};
  int step_ = 0;
  int64_t now_ = 1000 * second;
};

constexpr int film_pixels = film.width * film.height;

TEST(FilmAreas, HoldFilmBackAndNothingElse) {
  for (const FilmLimits &limits : {FilmLimits{2, 0}, FilmLimits{0, 75}, FilmLimits{2, 75}}) {
    SCOPED_TRACE(testing::Message() << limits.rate << " " << limits.quality);
    Desk desk(limits);
    int stored = 0;
    for (int i = 0; i < 60; i++) {
      desk.play();
      // A menu opens over the film, and its entries light up; beside it text comes all the time.
      if (i >= 20) desk.draw(menu, [](int, int y) { return y % 15 < 9 ? 0xddddddu : 0x222222u; });
      if (i >= 30 && i < 40) desk.draw({240, 100, 30, 12}, [i](int, int) { return 0x2040 * i; });
      desk.write({terminal.x, terminal.y + 40 * (i % 6), 100, 30});
      desk.look();
      if (i >= 20) {
        EXPECT_EQ(desk.wrong(limits.quality == 0 || i == 20 ? menu : inside_of_menu), 0) << i;
      }
      EXPECT_EQ(desk.wrong(terminal), 0) << i;
      if (i < 10) continue;
      const bool now =
          (limits.quality > 0 ? desk.lossy_pixels : desk.exact_pixels) > film_pixels / 2;
      stored += now;
      if (limits.quality > 0 || !now) {
        EXPECT_GT(desk.wrong(film), film_pixels / 2) << i;
      }
    }
    EXPECT_GE(stored, limits.rate > 0 ? 9 : 50);
    EXPECT_LE(stored, limits.rate > 0 ? 11 : 50);
    // At rest all of it follows.
    if (desk.areas().due()) {
      EXPECT_LE(*desk.areas().due(), desk.now() + second / 4);
    }
    for (int i = 0; i < 3; i++) desk.look();
    EXPECT_EQ(desk.wrong(), 0);
    EXPECT_FALSE(desk.areas().due());
  }
}

TEST(FilmAreas, CanBeSettledAtAnyMoment) {
  int behind = 0;
  for (int end = 1; end < 25; end++) {
    Desk desk({1, end % 2 ? 75 : 0});
    for (int i = 0; i < end; i++) {
      desk.play();
      if (i % 11 == 9) desk.write(menu);
      desk.look();
      for (int y = 0; y < screen.height; y += 7) {
        for (int x = 0; x < screen.width; x += 11) {
          const Rectangle place{x, y, 1, 1};
          if (desk.lossy_pixels > 0 && desk.wrong(place) && !desk.areas().is_inexact(place))
            ADD_FAILURE() << "a pixel with losses that nobody knows of at " << x << "," << y;
        }
      }
    }
    behind += desk.wrong() > 0;
    desk.settle();
    EXPECT_EQ(desk.wrong(), 0) << end;
    EXPECT_TRUE(desk.areas().areas().empty());
  }
  EXPECT_GE(behind, 15);
}

TEST(FilmAreas, KeepRowsThatNoCellIsJudgedBy) {
  for (const FilmLimits &limits : {FilmLimits{2, 0}, FilmLimits{0, 75}, FilmLimits{2, 75}}) {
    SCOPED_TRACE(testing::Message() << limits.rate << " " << limits.quality);
    Desk desk(limits);
    for (int i = 0; i < 12; i++) {
      desk.play();
      desk.look();
    }
    desk.play_between();
    desk.look();
    EXPECT_GT(desk.wrong(film), 0);
    desk.settle();
    EXPECT_EQ(desk.wrong(), 0);
  }
}

TEST(FilmLog, TellsOfFilmsThatEndAndOfPartsOfLongOnes) {
  FilmLog log;
  const Rectangle small{10, 10, 20, 20};
  const Rectangle grown{5, 10, 20, 30};
  const Rectangle other{100, 10, 20, 20};
  EXPECT_TRUE(log.update({small, other}, second).empty());
  EXPECT_TRUE(log.update({grown, other}, 2 * second).empty());
  EXPECT_EQ(log.update({grown}, 3 * second),
            (std::vector<FilmStretch>{{other, second, 3 * second}}));
  const Rectangle both{5, 10, 25, 30};
  EXPECT_EQ(log.update({grown}, 12 * second),
            (std::vector<FilmStretch>{{both, second, 12 * second}}));
  EXPECT_EQ(log.update({}, 13 * second),
            (std::vector<FilmStretch>{{both, 12 * second, 13 * second}}));
  EXPECT_TRUE(log.update({}, 14 * second).empty());
}

}  // namespace
}  // namespace qom::record
