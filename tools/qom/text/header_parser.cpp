#include "text/header_parser.h"

#include <iterator>
#include <limits>

#include "records.h"

namespace qomtool {
namespace {

constexpr uint8_t kDefaultPad = 32;
constexpr uint8_t kDefaultVersion = 1;
constexpr uint8_t kDefaultKeycodes[] = {8, 255};

constexpr std::string_view kLines[] = {"screen",   "depth", "format", "pad",    "version",
                                       "keycodes", "user",  "tfn",    "palette"};

// Bit of the line that the keyword begins; 0 when it begins none.
uint32_t bit_of(std::string_view keyword) {
  for (size_t i = 0; i < std::size(kLines); ++i) {
    if (kLines[i] == keyword) return 1u << i;
  }
  return 0;
}

uint8_t default_depth(PixelFormat format) {
  switch (format) {
    case xRGB8888:
    case xBGR8888:
    case RGBx8888:
    case BGRx8888:
      return 24;
    default:
      return static_cast<uint8_t>(pixel_format_bytes_per_pixel(format) * 8);
  }
}

uint8_t parse_pad(Words &words) {
  const uint8_t pad = words.number<uint8_t>("a padding", 0, 32);
  if (pad != 0 && pad != 8 && pad != 16 && pad != 32) words.fail("a padding is 0, 8, 16 or 32");
  return pad;
}

PixelFormat parse_format(Words &words) {
  const std::string_view name = words.word("a pixel format");
  const std::optional<PixelFormat> format = pixel_format(name);
  if (!format) words.fail_word("a pixel format such as xRGB8888", name);
  return *format;
}

char *keep(std::optional<std::string> &place, std::optional<std::string> text) {
  place = std::move(text);
  return place ? place->data() : nullptr;
}

}  // namespace

void HeaderParser::reset() {
  header = QomHeader{};
  header.type = QOM_HEADER;
  header.version = kDefaultVersion;
  header.scanline_pad = kDefaultPad;
  header.min_keycode = kDefaultKeycodes[0];
  header.max_keycode = kDefaultKeycodes[1];
  palette_.clear();
  seen_ = 0;
}

bool HeaderParser::seen(std::string_view keyword) const {
  return (seen_ & bit_of(keyword)) != 0;
}

bool HeaderParser::take(std::string_view keyword, Words &words) {
  if (bit_of(keyword) == 0) return false;
  if (seen(keyword) && keyword != "palette") {
    words.fail("a second " + std::string(keyword) + " line");
  }
  seen_ |= bit_of(keyword);
  take_fields(keyword, words);
  words.finish();
  return true;
}

void HeaderParser::take_fields(std::string_view keyword, Words &words) {
  if (keyword == "screen") {
    const Size size = words.size(1, QOM_MAX_SIDE);
    header.width = size.width;
    header.height = size.height;
  } else if (keyword == "depth") {
    header.depth = words.number<uint8_t>("a depth", 1, 32);
  } else if (keyword == "format") {
    header.pixel_format = parse_format(words);
  } else if (keyword == "pad") {
    header.scanline_pad = parse_pad(words);
  } else if (keyword == "version") {
    header.version = words.number<uint8_t>("a version", 0, 255);
  } else if (keyword == "keycodes") {
    header.min_keycode = words.number<uint8_t>("the smallest key code", 0, 255);
    header.max_keycode = words.number<uint8_t>("the largest key code", 0, 255);
  } else if (keyword == "user") {
    header.user = keep(user_, words.text("a quoted text or -"));
  } else if (keyword == "tfn") {
    header.tfn = keep(tfn_, words.text("a quoted text or -"));
  } else {
    take_palette_entry(words);
  }
}

void HeaderParser::take_palette_entry(Words &words) {
  if (palette_.size() == std::numeric_limits<uint16_t>::max()) {
    words.fail("more palette lines than a header can hold");
  }
  const auto value = [&](const char *what) {
    return static_cast<uint16_t>(words.hexadecimal(what, 4));
  };
  RgbValue entry{};
  entry.red = value("red");
  entry.green = value("green");
  entry.blue = value("blue");
  if (!words.at_end()) entry.pad = value("the pad");
  palette_.push_back(entry);
}

void HeaderParser::finish(unsigned long line) {
  for (const char *keyword : {"screen", "format"}) {
    if (!seen(keyword)) {
      throw TextError(line, std::string("the header ends here without a ") + keyword + " line");
    }
  }
  if (!seen("depth")) header.depth = default_depth(header.pixel_format);
  header.palette_size = static_cast<uint16_t>(palette_.size());
  header.palette = palette_.empty() ? nullptr : palette_.data();
}

}  // namespace qomtool
