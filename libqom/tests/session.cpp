#include "session.h"

namespace {

// A value of so many bits in 8: its bits again and again.
uint8_t widened(unsigned value, unsigned bits) {
  unsigned wide = 0;
  for (unsigned i = 0; i < 8; ++i) wide |= (value >> (bits - 1 - i % bits) & 1u) << (7 - i);
  return static_cast<uint8_t>(wide);
}

}  // namespace

std::vector<Rgb> picture_of(QomScreen *screen, bool with_cursor) {
  QomPicture picture;
  EXPECT_EQ(qom_screen_picture(screen, with_cursor, &picture), 0);
  std::vector<Rgb> pixels(size_t{picture.width} * picture.height);
  qom_picture_rgb(&picture, {0, 0, picture.width, picture.height}, pixels.data()->data(),
                  size_t{picture.width} * 3);
  return pixels;
}

std::string text_of(const QomScreen *screen, int text) {
  const char *value = qom_screen_text(screen, static_cast<QomScreenText>(text));
  return value ? value : "-";
}

std::map<char, std::pair<unsigned, unsigned>> channels(PixelFormat format) {
  const std::string name = pixel_format_string(format);
  const size_t letters = name.find_first_of("0123456789");
  std::map<char, std::pair<unsigned, unsigned>> found;
  unsigned shift = 0;
  for (size_t i = letters; i-- > 0;) {
    const auto bits = static_cast<unsigned>(name[letters + i] - '0');
    found[name[i]] = {shift, bits};
    shift += bits;
  }
  return found;
}

uint8_t through(uint8_t value, unsigned bits) {
  return widened(value >> (8 - bits), bits);
}

Rgb colour(const QomHeader &header, PixelFormat shown, uint32_t pixel) {
  Rgb rgb;
  if (header.pixel_format == PALETTE8) {
    const RgbValue entry = pixel < header.palette_size ? header.palette[pixel] : RgbValue{};
    rgb = {static_cast<uint8_t>(entry.red), static_cast<uint8_t>(entry.green),
           static_cast<uint8_t>(entry.blue)};
  } else {
    auto from = channels(header.pixel_format);
    for (size_t i = 0; i < 3; ++i) {
      const auto [shift, bits] = from["RGB"[i]];
      rgb[i] = widened(pixel >> shift & ((1u << bits) - 1), bits);
    }
  }
  auto to = channels(shown);
  for (size_t i = 0; i < 3; ++i) rgb[i] = through(rgb[i], to["RGB"[i]].second);
  return rgb;
}
