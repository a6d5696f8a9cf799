// Pictures in which parts moved, and what a player makes of the copies that were found.
#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "move_search.h"
#include "picture.h"

namespace qom::record {
namespace {

using Random = std::mt19937;

int one_of(Random &random, int count) {
  return static_cast<int>(random() % static_cast<unsigned>(count));
}

constexpr Rectangle screen{0, 0, 615, 403};

int pixels_in(const std::vector<Rectangle> &areas) {
  int pixels = 0;
  for (const Rectangle &area : areas) pixels += area.empty() ? 0 : area.width * area.height;
  return pixels;
}

// A screen in the display's format; of 16-bit pixels the lower halves count.
struct Canvas {
  std::vector<uint32_t> pixels = std::vector<uint32_t>(screen.width * screen.height);
  std::vector<Rectangle> drawn;

  uint32_t &at(int x, int y) { return pixels[y * screen.width + x]; }
  uint32_t at(int x, int y) const { return pixels[y * screen.width + x]; }

  void draw(const Rectangle &area, const std::function<uint32_t(int x, int y)> &pixel) {
    drawn.push_back(area);
    for (int y = area.y; y < area.y + area.height; y++) {
      for (int x = area.x; x < area.x + area.width; x++) at(x, y) = pixel(x, y);
    }
  }

  void noise(const Rectangle &area, Random &random) {
    draw(area, [&](int, int) { return static_cast<uint32_t>(random()); });
  }

  // Nothing but what differs from another canvas was drawn.
  void draw_only_changes(const Canvas &before) {
    drawn.clear();
    for (int i = 0; i < std::ssize(pixels); i++) {
      if (pixels[i] == before.pixels[i]) continue;
      drawn.push_back({i % screen.width, i / screen.width, 1, 1});
    }
  }

  // Lines of two colours, with letters of 7 x 10 pixels in lines of 17.
  void text(const Rectangle &area, Random &random) {
    draw(area, [](int, int) { return 0xeeeeee; });
    for (int y = area.y + 3; y + 14 <= area.y + area.height; y += 17) {
      const int end = area.x + one_of(random, area.width);
      for (int x = area.x + 2; x + 8 <= end; x += 8) {
        const Rectangle letter{x, y, 7, 10};
        draw(letter, [&](int, int) { return random() % 3 ? 0xeeeeee : 0x111111; });
      }
    }
  }

  // As X copies areas.
  void move(const Rectangle &from, int by_x, int by_y) {
    const Canvas before = *this;
    const Rectangle to{from.x + by_x, from.y + by_y, from.width, from.height};
    draw(intersection(to, screen), [&](int x, int y) { return before.at(x - by_x, y - by_y); });
  }
};

// What the recorder records of a change from one canvas to another, and what a player shows then.
struct Look {
  Look(const Canvas &before, const Canvas &now, PixelFormat display = xRGB8888,
       PixelFormat recording = xRGB8888)
      : picture(screen.width, screen.height, display, recording), shown(before) {
    const std::vector<uint8_t> old_bytes = bytes_of(before);
    picture.update(grab(screen, old_bytes), changed);
    changed.clear();
    const std::vector<uint8_t> bytes = bytes_of(now);
    CellMap drawn(screen.width, screen.height, 64, 16);
    for (const Rectangle &area : now.drawn) drawn.mark(area);
    for (const Rectangle &area : drawn.rectangles(1)) grabs.push_back(grab(area, bytes));
    copies = MoveSearch().find(picture, grabs);
    for (const Copy &copy : copies) {
      picture.copy(copy);
      shown.move(copy.from, copy.to_x - copy.from.x, copy.to_y - copy.from.y);
    }
    for (const Grab &one : grabs) picture.update(one, changed);
    for (const Rectangle &area : changed.rectangles(0)) {
      shown.draw(area, [&](int x, int y) { return now.at(x, y); });
    }
  }

  std::vector<uint8_t> bytes_of(const Canvas &canvas) const {
    const size_t each = picture.pixel_bytes();
    std::vector<uint8_t> bytes(canvas.pixels.size() * each);
    for (size_t i = 0; i < canvas.pixels.size(); i++) {
      std::memcpy(&bytes[i * each], &canvas.pixels[i], each);
    }
    return bytes;
  }

  Grab grab(const Rectangle &area, const std::vector<uint8_t> &bytes) const {
    const size_t first = size_t{1} * screen.width * area.y + area.x;
    return {area, bytes.data() + first * picture.pixel_bytes(), picture.stride()};
  }

  // The places where a player's screen, or the recorder's idea of it, is not as it should be.
  int faults(const Canvas &now) const {
    int count = 0;
    for (int y = 0; y < screen.height; y++) {
      for (int x = 0; x < screen.width; x++) {
        uint32_t held = 0;
        std::memcpy(&held, picture.pixels(x, y), picture.pixel_bytes());
        const uint32_t wanted = now.at(x, y) & picture.mask();
        count += held != wanted || (shown.at(x, y) & picture.mask()) != wanted;
      }
    }
    return count;
  }

  bool copies_are_inside() const {
    return std::all_of(copies.begin(), copies.end(), [&](const Copy &copy) {
      int outside = pixels_in({copy.from});
      for (const Grab &one : grabs) outside -= pixels_in({intersection(copy.to(), one.area)});
      return outside == 0 && intersection(copy.from, screen) == copy.from;
    });
  }

  Picture picture;
  Canvas shown;
  CellMap changed{screen.width, screen.height, fine_width, fine_height};
  std::vector<Grab> grabs;
  std::vector<Copy> copies;
};

Rectangle any_area(Random &random) {
  const int width = 40 + one_of(random, 400);
  const int height = 30 + one_of(random, 300);
  return {one_of(random, screen.width - width), one_of(random, screen.height - height), width,
          height};
}

TEST(MoveSearch, WhateverMovesThePlayerGetsTheNewPicture) {
  const std::pair<PixelFormat, PixelFormat> formats[] = {
      {xRGB8888, xRGB8888}, {xRGB8888, RGB332}, {RGB565, RGB565}, {BGR565, xRGB8888}};
  int found = 0;
  for (unsigned seed = 0; seed < 120; seed++) {
    Random random(seed);
    Canvas before;
    for (int i = 0; i < 4; i++) {
      before.text(any_area(random), random);
      before.noise(any_area(random), random);
    }
    Canvas now = before;
    now.drawn.clear();
    for (int i = one_of(random, 4); i >= 0; i--) {
      now.move(any_area(random), one_of(random, 120) - 60, one_of(random, 120) - 60);
      if (one_of(random, 3) == 0) now.text(any_area(random), random);
    }
    if (one_of(random, 2) == 0) now.draw_only_changes(before);
    const auto &[display, recording] = formats[seed % 4];
    const Look look(before, now, display, recording);
    EXPECT_EQ(look.faults(now), 0) << "seed " << seed;
    EXPECT_TRUE(look.copies_are_inside()) << "seed " << seed;
    found += !look.copies.empty();
  }
  EXPECT_GE(found, 80);
}

constexpr Rectangle page{37, 21, 300, 257};
constexpr Rectangle other_page{350, 150, 240, 230};

Canvas desk(Random &random) {
  Canvas canvas;
  canvas.noise(screen, random);
  canvas.text(other_page, random);
  canvas.text(page, random);
  return canvas;
}

void scroll(Canvas &canvas, const Rectangle &area, int lines, Random &random) {
  canvas.move({area.x, area.y + lines, area.width, area.height - lines}, 0, -lines);
  canvas.text({area.x, area.y + area.height - lines, area.width, lines}, random);
}

// Moves the page over what is to be seen where it was.
void drag(Canvas &canvas, int by_x, int by_y, Random &random) {
  const Canvas before = canvas;
  canvas.noise(page, random);
  canvas.draw({page.x + by_x, page.y + by_y, page.width, page.height},
              [&](int x, int y) { return before.at(x - by_x, y - by_y); });
}

TEST(MoveSearch, LeavesLittleButWhatAppeared) {
  const struct {
    const char *what;
    std::function<void(Canvas &, Random &)> change;
    std::vector<Rectangle> appeared;
  } cases[] = {{"a page scrolls",
                [](Canvas &now, Random &random) { scroll(now, page, 51, random); },
                {{37, 227, 300, 51}}},
               {"a window goes right and down, in pieces",
                [](Canvas &now, Random &random) {
                  const Canvas before = now;
                  drag(now, 45, 33, random);
                  now.draw_only_changes(before);
                },
                {{37, 21, 300, 33}, {37, 21, 45, 257}}},
               {"a window goes left and up",
                [](Canvas &now, Random &random) { drag(now, -11, -7, random); },
                {{326, 21, 11, 257}, {37, 271, 300, 7}}},
               {"a window goes right below another one",
                [](Canvas &now, Random &random) {
                  const Canvas before = now;
                  drag(now, 100, 0, random);
                  now.draw(other_page, [&](int x, int y) { return before.at(x, y); });
                },
                {{37, 21, 100, 257}}},
               {"a window goes and scrolls",
                [](Canvas &now, Random &random) {
                  drag(now, 13, 0, random);
                  scroll(now, {page.x + 13, page.y + 40, page.width, 200}, 34, random);
                },
                {{37, 21, 13, 257}, {50, 227, 300, 34}}},
               {"a picture is dragged aside",
                [](Canvas &now, Random &random) {
                  now.move({0, 0, screen.width - 57, screen.height}, 57, 0);
                  now.noise({0, 0, 57, screen.height}, random);
                },
                {{0, 0, 57, screen.height}}}};
  for (const auto &one : cases) {
    Random random(1);
    const Canvas before = desk(random);
    Canvas now = before;
    now.drawn.clear();
    one.change(now, random);
    const Look look(before, now);
    EXPECT_EQ(look.faults(now), 0) << one.what;
    CellMap appeared(screen.width, screen.height, fine_width, fine_height);
    for (const Rectangle &area : one.appeared) appeared.mark(area);
    EXPECT_LE(pixels_in(look.changed.rectangles(0)), 1.2 * pixels_in(appeared.rectangles(0)))
        << one.what;
  }
}

TEST(MoveSearch, FindsNothingInAFilmOrAnotherPage) {
  for (const bool film : {true, false}) {
    Random random(1);
    const Canvas before = desk(random);
    Canvas now = before;
    film ? now.noise(screen, random) : now.text(page, random);
    const Look look(before, now);
    EXPECT_TRUE(look.copies.empty()) << film;
    EXPECT_EQ(look.faults(now), 0) << film;
  }
}

}  // namespace
}  // namespace qom::record
