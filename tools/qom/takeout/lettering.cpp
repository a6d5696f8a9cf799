#include "lettering.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>

#include "text/quote.h"

namespace qomtool {
namespace {

constexpr const char *kFont = QOM_FONT;
constexpr std::string_view kEllipsis = "\xe2\x80\xa6";
constexpr size_t kMostGlyphs = 4096;

uint32_t pixels(FT_Pos units) {
  return static_cast<uint32_t>(std::max<FT_Pos>(0, (units + 32) >> 6));
}

// Takes the first character off a valid text.
char32_t next_character(std::string_view *text) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>((*text)[i]); };
  const unsigned char head = byte(0);
  const size_t length = head < 0x80 ? 1 : head >= 0xf0 ? 4 : head >= 0xe0 ? 3 : 2;
  char32_t character = length == 1 ? head : head & (0x7fu >> length);
  for (size_t i = 1; i < length; ++i) character = character << 6 | (byte(i) & 0x3fu);
  text->remove_prefix(length);
  return character;
}

void blend(uint8_t *pixel, Colour colour, unsigned coverage) {
  for (size_t i = 0; i < 3; ++i)
    pixel[i] =
        static_cast<uint8_t>((colour[i] * coverage + pixel[i] * (255 - coverage) + 127) / 255);
}

}  // namespace

void Lettering::Close::operator()(FT_LibraryRec_ *library) const {
  FT_Done_FreeType(library);
}

void Lettering::Close::operator()(FT_FaceRec_ *face) const {
  FT_Done_Face(face);
}

Lettering::Lettering(uint32_t size) {
  FT_Library library = nullptr;
  if (FT_Init_FreeType(&library) != 0) throw std::bad_alloc();
  library_.reset(library);
  FT_Face face = nullptr;
  if (FT_New_Face(library, kFont, 0, &face) != 0)
    throw LetteringError(std::string("the font ") + kFont +
                         " is missing: install the package fonts-dejavu-core");
  face_.reset(face);
  if (FT_Set_Pixel_Sizes(face, 0, size) != 0) throw LetteringError("the font has no such size");
  ascent_ = pixels(face->size->metrics.ascender);
  descent_ = pixels(-face->size->metrics.descender);
}

Lettering::~Lettering() = default;

const Lettering::Glyph &Lettering::glyph(char32_t character) {
  const auto known = glyphs_.find(character);
  if (known != glyphs_.end()) return known->second;
  if (glyphs_.size() == kMostGlyphs) glyphs_.clear();
  return glyphs_.emplace(character, load(character)).first->second;
}

// A character that cannot be had takes no room.
Lettering::Glyph Lettering::load(char32_t character) {
  Glyph glyph;
  if (FT_Load_Char(face_.get(), character, FT_LOAD_RENDER | FT_LOAD_TARGET_LIGHT) != 0)
    return glyph;
  const FT_GlyphSlotRec *slot = face_->glyph;
  const FT_Bitmap &bitmap = slot->bitmap;
  glyph.advance = pixels(slot->advance.x);
  glyph.left = slot->bitmap_left;
  glyph.top = slot->bitmap_top;
  if (bitmap.pixel_mode != FT_PIXEL_MODE_GRAY || bitmap.pitch < 0) return glyph;
  glyph.width = bitmap.width;
  glyph.height = bitmap.rows;
  for (uint32_t y = 0; y < bitmap.rows; ++y) {
    const uint8_t *row = bitmap.buffer + static_cast<ptrdiff_t>(y) * bitmap.pitch;
    glyph.coverage.insert(glyph.coverage.end(), row, row + bitmap.width);
  }
  return glyph;
}

uint32_t Lettering::width(std::string_view text) {
  const std::string shown = printable(text);
  uint32_t sum = 0;
  for (std::string_view rest = shown; !rest.empty();) sum += glyph(next_character(&rest)).advance;
  return sum;
}

std::string Lettering::shortened(std::string_view text, uint32_t width) {
  std::string shown = printable(text);
  const uint32_t ellipsis = this->width(kEllipsis);
  size_t kept = 0;  // bytes that fit together with an ellipsis
  uint32_t sum = 0;
  for (std::string_view rest = shown; !rest.empty();) {
    if (sum + ellipsis <= width) kept = shown.size() - rest.size();
    sum += glyph(next_character(&rest)).advance;
    if (sum > width) return shown.substr(0, kept).append(kEllipsis);
  }
  return shown;
}

void Lettering::draw(std::string_view text, int32_t x, int32_t y, Colour colour, RgbImage *onto) {
  const std::string shown = printable(text);
  const auto width = static_cast<int32_t>(onto->size.width);
  const auto height = static_cast<int32_t>(onto->size.height);
  for (std::string_view rest = shown; !rest.empty() && x < width;) {
    const Glyph &shape = glyph(next_character(&rest));
    const int32_t left = x + shape.left;
    const int32_t top = y + static_cast<int32_t>(ascent_) - shape.top;
    const int32_t end_x = std::min(width - left, static_cast<int32_t>(shape.width));
    const int32_t end_y = std::min(height - top, static_cast<int32_t>(shape.height));
    for (int32_t row = std::max(0, -top); row < end_y; ++row) {
      uint8_t *pixels_of_row = onto->row(static_cast<uint32_t>(top + row));
      for (int32_t column = std::max(0, -left); column < end_x; ++column)
        blend(pixels_of_row + size_t{3} * static_cast<size_t>(left + column), colour,
              shape.coverage[static_cast<size_t>(row) * shape.width + static_cast<size_t>(column)]);
    }
    x += static_cast<int32_t>(shape.advance);
  }
}

}  // namespace qomtool
