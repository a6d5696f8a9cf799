// Random sessions, with what the screen is after each of their records computed in the plainest
// way.
#pragma once

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "fixture.h"
#include "qom/screen.h"

using Rgb = std::array<uint8_t, 3>;
using Random = std::mt19937;

inline unsigned pick(Random &random, unsigned below) {
  return std::uniform_int_distribution<unsigned>(0, below - 1)(random);
}

struct ScreenClose {
  void operator()(QomScreen *screen) const { qom_screen_close(screen); }
};
using Screen = std::unique_ptr<QomScreen, ScreenClose>;

std::vector<Rgb> picture_of(QomScreen *screen, bool with_cursor);
std::string text_of(const QomScreen *screen, int text);  // "-" for none

// Channels of a format by its name, such as BGR565: position and bits of red, green and blue.
std::map<char, std::pair<unsigned, unsigned>> channels(PixelFormat format);

// A value of 8 bits as it comes back from so many of them.
uint8_t through(uint8_t value, unsigned bits);

// What a pixel of the recording looks like, on a screen of the format `shown`.
Rgb colour(const QomHeader &header, PixelFormat shown, uint32_t pixel);

// The state of a screen, pixel by pixel.
struct Expected {
  int width = 0;
  int height = 0;
  std::vector<Rgb> pixels;
  std::vector<uint32_t> cursor;
  int cursor_width = 0, cursor_height = 0, hot_x = 0, hot_y = 0, cursor_x = 0, cursor_y = 0;
  std::array<std::string, QOM_TEXT_COUNT> texts;  // "-" for none
  uint64_t time = 0;

  void resize(int w, int h) {
    std::vector<Rgb> old = std::move(pixels);
    pixels.assign(static_cast<size_t>(w * h), Rgb{});
    for (int y = 0; y < std::min(h, height); ++y)
      for (int x = 0; x < std::min(w, width); ++x)
        pixels[static_cast<size_t>(y * w + x)] = old[static_cast<size_t>(y * width + x)];
    width = w;
    height = h;
  }

  std::vector<Rgb> with_cursor(PixelFormat shown) const {
    std::vector<Rgb> all = pixels;
    auto to = channels(shown);
    for (int row = 0; row < cursor_height; ++row)
      for (int column = 0; column < cursor_width; ++column) {
        const int x = cursor_x - hot_x + column;
        const int y = cursor_y - hot_y + row;
        if (x < 0 || y < 0 || x >= width || y >= height) continue;
        const uint32_t over = cursor[static_cast<size_t>(row * cursor_width + column)];
        Rgb &below = all[static_cast<size_t>(y * width + x)];
        for (size_t i = 0; i < 3; ++i) {
          const uint32_t sum =
              (over >> (16 - 8 * i) & 255) + (below[i] * (255 - (over >> 24)) + 127) / 255;
          below[i] = through(static_cast<uint8_t>(sum), to["RGB"[i]].second);
        }
      }
    return all;
  }
};

// Makes random records and applies them to an expected screen.
class Session {
 public:
  Session(const QomHeader &header, PixelFormat shown, unsigned seed)
      : header_(header), shown_(shown), random_(seed) {
    state.resize(header.width, header.height);
    state.texts.fill("-");
    state.time = header.timestamp;
  }

  Expected state;

  Record next() {
    state.time += std::array{0u, 1u, 40u, 900u}[pick(random_, 4)];
    switch (pick(random_, 12)) {
      case 0:
        return size(1 + pick(random_, 40), 1 + pick(random_, 30));
      case 1:
        return compressed(rectangle(0, 0, state.width, state.height));
      case 2:
        return rectangle();
      case 3:
        return cursor();
      case 4:
      case 5:
        state.cursor_x = coordinate(60);
        state.cursor_y = coordinate(60);
        return position(state.time, static_cast<int16_t>(state.cursor_x),
                        static_cast<int16_t>(state.cursor_y));
      case 6:
        return text();
      case 7:
        state.texts[QOM_TEXT_USER] = "ada";
        state.texts[QOM_TEXT_TFN] = std::to_string(state.time);
        return keep(QomLastInput{QOM_LAST_INPUT, state.time, const_cast<char *>("ada"),
                                 state.texts[QOM_TEXT_TFN].data()});
      default:
        return header_.version == 2 && pick(random_, 3) == 0 ? copies() : blocks();
    }
  }

  // All of the state, as a checkpoint restates it.
  std::vector<Record> restate() {
    std::vector<Record> all =
        list(size(static_cast<unsigned>(state.width), static_cast<unsigned>(state.height)),
             compressed(rectangle(0, 0, state.width, state.height)));
    if (state.cursor_width > 0) {
      std::vector<uint32_t> same = state.cursor;
      all.push_back(cursor_record(same));
    }
    const std::map<int, uint8_t> types = {
        {QOM_TEXT_APP, QOM_FOOTER_ITEM_APP},   {QOM_TEXT_APPFMT, QOM_FOOTER_ITEM_APPFMT},
        {QOM_TEXT_HOST, QOM_FOOTER_ITEM_HOST}, {QOM_TEXT_IP, QOM_FOOTER_ITEM_IP},
        {QOM_TEXT_SID, QOM_FOOTER_ITEM_SID},   {QOM_TEXT_TID, QOM_FOOTER_ITEM_TID}};
    for (const auto &[index, type] : types)
      all.push_back(text_record(type, state.time, value_of(static_cast<size_t>(index))));
    all.push_back(
        keep(QomLastInput{QOM_LAST_INPUT, state.time, const_cast<char *>(value_of(QOM_TEXT_USER)),
                          const_cast<char *>(value_of(QOM_TEXT_TFN))}));
    return all;
  }

 private:
  const char *value_of(size_t text) const {
    return state.texts[text] == "-" ? nullptr : state.texts[text].c_str();
  }
  int coordinate(unsigned range) { return static_cast<int>(pick(random_, range)) - 15; }

  Record size(unsigned width, unsigned height) {
    state.resize(static_cast<int>(width), static_cast<int>(height));
    return screen_change(state.time, static_cast<uint16_t>(width), static_cast<uint16_t>(height));
  }

  // Random pixels, drawn; their bytes as a record holds them.
  Bytes draw(int x, int y, int width, int height) {
    const size_t pixel = pixel_format_bytes_per_pixel(header_.pixel_format);
    const size_t stride = stride_in_bytes(static_cast<uint32_t>(width),
                                          static_cast<uint8_t>(pixel * 8), header_.scanline_pad);
    Bytes bytes(stride * static_cast<size_t>(height));
    const unsigned shades = pick(random_, 2) ? 3 : 256;
    for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(pick(random_, shades) * 77);
    for (int row = std::max(0, -y); row < std::min(height, state.height - y); ++row)
      for (int column = std::max(0, -x); column < std::min(width, state.width - x); ++column) {
        uint32_t value = 0;
        std::memcpy(
            &value,
            bytes.data() + static_cast<size_t>(row) * stride + static_cast<size_t>(column) * pixel,
            pixel);
        state.pixels[static_cast<size_t>((y + row) * state.width + x + column)] =
            colour(header_, shown_, value);
      }
    return bytes;
  }

  Record rectangle(int x, int y, int width, int height) {
    Bytes data = draw(x, y, width, height);
    return keep(QomImage{QOM_IMAGE, state.time, static_cast<uint16_t>(width),
                         static_cast<uint16_t>(height), static_cast<int16_t>(x),
                         static_cast<int16_t>(y), header_.pixel_format, header_.scanline_pad,
                         static_cast<uint32_t>(data.size() / static_cast<size_t>(height)),
                         static_cast<uint32_t>(data.size()), data.data()});
  }
  Record rectangle() {
    const int x = coordinate(50);
    const int y = coordinate(50);
    return rectangle(x, y, 1 + static_cast<int>(pick(random_, 20)),
                     1 + static_cast<int>(pick(random_, 20)));
  }

  Record blocks() {
    Bytes data;
    for (unsigned count = pick(random_, 4); count > 0; --count) {
      const auto x = static_cast<int16_t>(coordinate(50));
      const auto y = static_cast<int16_t>(coordinate(50));
      const auto width = static_cast<uint16_t>(1 + pick(random_, 15));
      const auto height = static_cast<uint16_t>(1 + pick(random_, 15));
      for (const int16_t value : {x, y}) forge::append(&data, value);
      for (const uint16_t value : {width, height}) forge::append(&data, value);
      forge::append(&data, draw(x, y, width, height));
    }
    return compressed(keep(QomImageBlocks{QOM_IMAGE_BLOCKS, state.time,
                                          static_cast<uint32_t>(data.size()), data.data()}));
  }

  // Areas that reach over the borders now and then, and over their own targets.
  Record copies() {
    std::vector<QomCopy> all(1 + pick(random_, 3));
    for (QomCopy &copy : all) {
      copy = {static_cast<int16_t>(coordinate(45)),
              static_cast<int16_t>(coordinate(45)),
              static_cast<uint16_t>(1 + pick(random_, 30)),
              static_cast<uint16_t>(1 + pick(random_, 30)),
              0,
              0};
      copy.to_x = static_cast<int16_t>(copy.x + static_cast<int>(pick(random_, 21)) - 10);
      copy.to_y = static_cast<int16_t>(copy.y + static_cast<int>(pick(random_, 21)) - 10);
      const std::vector<Rgb> before = state.pixels;
      for (int y = 0; y < copy.height; ++y)
        for (int x = 0; x < copy.width; ++x)
          if (is_inside(copy.x + x, copy.y + y) && is_inside(copy.to_x + x, copy.to_y + y))
            state.pixels[static_cast<size_t>((copy.to_y + y) * state.width + copy.to_x + x)] =
                before[static_cast<size_t>((copy.y + y) * state.width + copy.x + x)];
    }
    return keep(
        QomCopyArea{QOM_COPY_AREA, state.time, static_cast<uint32_t>(all.size()), all.data()});
  }
  bool is_inside(int x, int y) const {
    return x >= 0 && y >= 0 && x < state.width && y < state.height;
  }

  Record cursor() {
    state.cursor_width = 1 + static_cast<int>(pick(random_, 12));
    state.cursor_height = 1 + static_cast<int>(pick(random_, 12));
    state.hot_x = static_cast<int>(pick(random_, 5)) % (state.cursor_width + 1);
    state.hot_y = static_cast<int>(pick(random_, 5)) % (state.cursor_height + 1);
    state.cursor_x = coordinate(60);
    state.cursor_y = coordinate(60);
    std::vector<uint32_t> image(static_cast<size_t>(state.cursor_width * state.cursor_height));
    for (uint32_t &value : image) value = pick(random_, 2) ? 0 : random_() & 0xFF7F7F7F;
    return cursor_record(image);
  }
  Record cursor_record(std::vector<uint32_t> &image) {
    state.cursor = image;
    return keep(QomCursorImage{
        QOM_CURSOR_IMAGE, state.time, static_cast<uint16_t>(state.cursor_width),
        static_cast<uint16_t>(state.cursor_height), static_cast<int16_t>(state.cursor_x),
        static_cast<int16_t>(state.cursor_y), static_cast<uint16_t>(state.hot_x),
        static_cast<uint16_t>(state.hot_y), 1, static_cast<uint32_t>(image.size() * 4),
        reinterpret_cast<uint8_t *>(image.data())});
  }

  Record text() {
    const bool app = pick(random_, 2);
    std::string &value = state.texts[app ? QOM_TEXT_APP : QOM_TEXT_SID];
    value = pick(random_, 4) ? "t" + std::to_string(pick(random_, 3)) : "-";
    return text_record(app ? QOM_FOOTER_ITEM_APP : QOM_FOOTER_ITEM_SID, state.time,
                       value == "-" ? nullptr : value.c_str());
  }

  QomHeader header_;
  PixelFormat shown_;
  Random random_;
};
