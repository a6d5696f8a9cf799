#include "pixels/band_packing.h"

#include <algorithm>
#include <cstring>

#include "base/bytes.h"
#include "pixels/clones.h"
#include "pixels/packing.h"
#include "pixels/varint.h"

namespace qom {
namespace {

// Where most of the first columns, one in so many, look like a photograph, the rest is not looked
// at.
constexpr size_t columns_per_look = 4;

// Fewer rows that are equal to the one above stay in their band: letters have some.
constexpr size_t least_repeated = 6;

// What does not look like a photograph: one colour in so many pixels, or this many; where one pixel
// in so many is equal to the one to the left, as between letters, more; where one column of pixels
// in so many was met before, any number.
constexpr size_t least_limit = 16;
constexpr size_t pixels_per_colour = 16;
constexpr size_t pixels_per_equal = 3;
constexpr size_t pixels_per_colour_between = 3;
constexpr size_t columns_per_seen = 2;
constexpr size_t seen_slots = 4096;

QOM_CLONES bool is_equal(const uint8_t *a, const uint8_t *b, size_t bytes) {
  uint8_t difference = 0;
  for (size_t i = 0; i < bytes; ++i) difference |= a[i] ^ b[i];
  return difference == 0;
}

}  // namespace

struct BandPacker::Band {
  BandKind kind;  // that of colours may turn out to be one of residuals
  size_t y;
  size_t rows;
};

struct BandPacker::Column {
  const uint8_t *pixels;
  size_t stride;
  size_t width;
  size_t height;
  bool has_left;

  const uint8_t *row(size_t y) const { return pixels + y * stride; }
  uint32_t at(size_t x, size_t y) const { return load<uint32_t>(row(y) + 4 * x); }
  bool is_plain(size_t y) const { return std::memcmp(row(y), row(y) + 4, 4 * (width - 1)) == 0; }
  bool is_repeated(size_t y) const { return y > 0 && is_equal(row(y), row(y - 1), 4 * width); }

  // How many rows from y on are equal to the one above.
  size_t repeated_rows(size_t y) const {
    size_t end = y;
    while (end < height && end - y < most_band_rows && is_repeated(end)) ++end;
    return end - y;
  }

  Band band_at(size_t y) const {
    if (is_plain(y)) return {band_plain, y, 1 + std::min(repeated_rows(y + 1), most_band_rows - 1)};
    if (const size_t rows = repeated_rows(y); rows >= least_repeated)
      return {band_repeated, y, rows};
    size_t end = y + 1;
    for (size_t run = 0; end < height && end - y < most_band_rows && !is_plain(end); ++end) {
      run = is_repeated(end) ? run + 1 : 0;
      if (run == least_repeated) return {band_colours, y, end - y - (run - 1)};
    }
    return {band_colours, y, end - y};
  }
};

bool Palette::start() {
  shift_ = 32 - 10;
  if (!slots_.resize(size_t{1} << 10)) return false;
  std::fill(slots_.begin(), slots_.end(), free_slot);
  return true;
}

size_t Palette::slot_of(uint32_t pixel) const {
  size_t slot = (pixel * 2654435761u) >> shift_;
  while (slots_[slot] != free_slot && colours_[slots_[slot]] != pixel)
    slot = (slot + 1) & (slots_.size() - 1);
  return slot;
}

size_t Palette::find_or_add(uint32_t pixel) {
  const size_t slot = slot_of(pixel);
  if (slots_[slot] != free_slot) return slots_[slot];
  const size_t number = count();
  const bool is_full = 2 * (number + 1) > slots_.size();
  if (number == most_colours || (is_full && !grow()) || !colours_.push(pixel)) return most_colours;
  slots_[is_full ? slot_of(pixel) : slot] = static_cast<uint32_t>(number);
  return number;
}

void Palette::truncate(size_t count) {
  // The last one first: no other one lies behind it.
  while (colours_.size() > count) {
    slots_[slot_of(colours_.back())] = free_slot;
    colours_.truncate(colours_.size() - 1);
  }
}

bool Palette::grow() {
  if (!slots_.resize(2 * slots_.size())) return false;
  --shift_;
  std::fill(slots_.begin(), slots_.end(), free_slot);
  for (size_t i = 0; i < count(); ++i) slots_[slot_of(colours_[i])] = static_cast<uint32_t>(i);
  return true;
}

bool BandPacker::push_band(const Band &band) {
  return bands_.push(band_byte(band.kind, band.rows));
}

bool BandPacker::add(const uint8_t *pixels, size_t stride, size_t begin, size_t end,
                     size_t height) {
  if (seen_.empty()) {
    if (!seen_.resize(seen_slots) || !palette_.start()) return false;
    std::fill(seen_.begin(), seen_.end(), 0);
  }
  for (size_t x = begin; x < end; x += column_width)
    if (!add_column({pixels + 4 * x, stride, std::min(column_width, end - x), height, x > 0}))
      return false;
  return true;
}

bool BandPacker::add_column(const Column &column) {
  for (size_t y = 0; y < column.height;) {
    const Band band = column.band_at(y);
    if (!add_band(column, band)) return false;
    y += band.rows;
  }
  return true;
}

// The most colours that the band may have.
size_t BandPacker::colour_limit(const Column &column, const Band &band) {
  uint32_t hashes[column_width] = {};
  uint32_t equal = 0;
  for (size_t y = 0; y < band.rows; ++y) {
    const uint8_t *row = column.row(band.y + y);
    for (size_t x = 0; x < column.width; ++x) {
      const uint32_t hash = hashes[x] ^ load<uint32_t>(row + 4 * x);
      hashes[x] = (hash << 7 | hash >> 25) + hash * 5;
    }
    for (size_t x = 1; x < column.width; ++x)
      equal += load<uint32_t>(row + 4 * x) == load<uint32_t>(row + 4 * x - 4);
  }
  size_t seen = 0;
  for (size_t x = 0; x < column.width; ++x) {
    const uint32_t hash = hashes[x] * 2654435761u + static_cast<uint32_t>(band.rows);
    uint32_t &slot = seen_[hash % seen_slots];
    seen += slot == hash;
    slot = hash;
  }
  const size_t pixels = column.width * band.rows;
  if (seen * columns_per_seen >= column.width) return pixels;
  const bool between = equal * pixels_per_equal >= pixels;
  return std::max(least_limit, pixels / (between ? pixels_per_colour_between : pixels_per_colour));
}

// False, with nothing of the band stored, when it has too many colours or memory is short.
bool BandPacker::add_colours(const Column &column, const Band &band) {
  const size_t pixels = column.width * band.rows;
  const size_t limit = colour_limit(column, band);
  const size_t known = palette_.count();
  const size_t begin = numbers_.size();
  if (!numbers_.resize(begin + pixels)) return false;
  uint16_t *to = numbers_.data() + begin;
  uint64_t met[most_colours / 64 + 1];
  const bool counts = limit < pixels;
  if (counts) std::memset(met, 0, sizeof met);
  size_t colours = 0;
  uint32_t last = ~column.at(0, band.y);
  size_t number = 0;
  for (size_t x = 0; x < column.width; ++x)
    for (size_t y = 0; y < band.rows; ++y, *to++ = static_cast<uint16_t>(number)) {
      const uint32_t pixel = column.at(x, band.y + y);
      if (pixel == last) continue;
      last = pixel;
      number = palette_.find_or_add(pixel);
      if (counts && number < most_colours) {
        uint64_t &bits = met[number / 64];
        colours += ~bits >> number % 64 & 1;
        bits |= uint64_t{1} << number % 64;
      }
      if (number == most_colours || colours > limit) {
        palette_.truncate(known);
        numbers_.truncate(begin);
        return false;
      }
    }
  return true;
}

bool BandPacker::add_band(const Column &column, const Band &band) {
  if (band.kind == band_repeated) return push_band(band);
  if (band.kind == band_plain) {
    const size_t number = palette_.find_or_add(column.at(0, band.y));
    if (number < most_colours)
      return push_band(band) && numbers_.push(static_cast<uint16_t>(number));
  } else if (add_colours(column, band)) {
    return push_band(band);
  }
  residual_pixels_ += column.width * band.rows;
  return push_band({band_residuals, band.y, band.rows}) &&
         strips_.add(column.row(band.y), column.stride, column.width, band.rows, column.has_left,
                     band.y > 0);
}

bool BandPacker::finish() {
  const size_t count = palette_.count();
  Array<uint32_t> uses;
  Array<uint16_t> order;
  Array<uint16_t> place;
  if (!uses.resize(count) || !order.resize(count) || !place.resize(count) ||
      !colours_.resize(count) || !indices_.resize(numbers_.size()))
    return false;
  for (size_t i = 0; i < count; ++i) order[i] = static_cast<uint16_t>(i);
  if (count > most_in_a_byte) {
    std::fill(uses.begin(), uses.end(), 0);
    for (const uint16_t number : numbers_) ++uses[number];
    std::sort(order.begin(), order.end(), [&](uint16_t a, uint16_t b) {
      return uses[a] != uses[b] ? uses[a] > uses[b] : a < b;
    });
  }
  for (size_t i = 0; i < count; ++i) {
    place[order[i]] = static_cast<uint16_t>(i);
    colours_[i] = palette_.colour(order[i]);
  }
  const bool escapes = count > most_in_a_byte;
  uint8_t *to = indices_.data();
  for (const uint16_t number : numbers_) {
    const uint16_t index = place[number];
    *to++ = escapes && index >= escape ? escape : static_cast<uint8_t>(index);
    if (escapes && index >= escape &&
        !(escapes_.push(static_cast<uint8_t>(index)) &&
          escapes_.push(static_cast<uint8_t>(index >> 8))))
      return false;
  }
  return true;
}

size_t BandPacker::bytes() const {
  const size_t parts[] = {colours_.size(), bands_.size(), indices_.size(), escapes_.size()};
  size_t bytes = 3 * colours_.size();
  for (const size_t part : parts) bytes += varint_bytes(part) + part;
  return bytes;
}

void BandPacker::write(uint8_t *to) const {
  ByteWriter writer(to);
  for (const size_t part : {colours_.size(), bands_.size(), indices_.size(), escapes_.size()})
    put_varint(writer, part);
  writer.put_bytes(colours_.data(), 4 * colours_.size());
  writer.put_bytes(bands_.data(), bands_.size());
  writer.put_bytes(indices_.data(), indices_.size());
  writer.put_bytes(escapes_.data(), escapes_.size());
}

bool pack_bands(const uint8_t *pixels, unsigned width, unsigned height, Packed *packed) {
  BandPacker packer;
  const size_t stride = size_t{4} * width;
  const size_t first = width / columns_per_look / column_width * column_width;
  if (!packer.add(pixels, stride, 0, first, height) ||
      2 * packer.residual_pixels() > first * height ||
      !packer.add(pixels, stride, first, width, height) || !packer.finish())
    return false;
  packed->form = PackedForm::bands;
  packed->strips = packer.strips().bytes();
  const size_t bytes = packed->strips + packer.bytes();
  if (packed->strips > packer.bytes() || bytes > most_packed(size_t{4} * width * height) ||
      !packed->bytes.resize(bytes))
    return false;
  packer.write(packed->bytes.data() + packed->strips);
  return packer.strips().write(packed->bytes.data(), &packed->seams);
}

}  // namespace qom
