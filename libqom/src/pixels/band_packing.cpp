#include "pixels/band_packing.h"

#include <algorithm>
#include <cstring>

#include "base/bytes.h"
#include "pixels/clones.h"
#include "pixels/packing.h"
#include "pixels/varint.h"

namespace qom {
namespace {

// Fewer rows that are equal to the one above stay in their band: letters have some.
constexpr size_t least_repeated = 6;

// What does not look like a photograph: one colour in so many pixels, or this many; where one pixel
// in so many is equal to the one to the left, as between letters, more; where one column of pixels
// in so many was met before, any number.
constexpr size_t fewest_limit = 16;
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

bool is_plain(const uint8_t *row, size_t width) {
  return std::memcmp(row, row + 4, 4 * (width - 1)) == 0;
}

}  // namespace

struct BandPacker::Band {
  const uint8_t *pixels;
  size_t stride;
  size_t width;
  size_t rows;
  bool has_left;
  bool has_above;

  uint32_t at(size_t x, size_t y) const { return load<uint32_t>(pixels + y * stride + 4 * x); }
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
  if (number == most_colours || !colours_.push(pixel)) return most_colours;
  slots_[slot] = static_cast<uint32_t>(number);
  if (2 * count() > slots_.size() && !grow()) return most_colours;
  return number;
}

void Palette::truncate(size_t count) {
  if (count == colours_.size()) return;
  colours_.truncate(count);
  std::fill(slots_.begin(), slots_.end(), free_slot);
  for (size_t i = 0; i < count; ++i) slots_[slot_of(colours_[i])] = static_cast<uint32_t>(i);
}

bool Palette::grow() {
  if (!slots_.resize(2 * slots_.size())) return false;
  --shift_;
  std::fill(slots_.begin(), slots_.end(), free_slot);
  for (size_t i = 0; i < count(); ++i) slots_[slot_of(colours_[i])] = static_cast<uint32_t>(i);
  return true;
}

bool BandPacker::push_band(BandKind kind, size_t rows) {
  for (; rows > most_band_rows; rows -= most_band_rows)
    if (!bands_.push(band_byte(kind, most_band_rows))) return false;
  return bands_.push(band_byte(kind, rows));
}

bool BandPacker::add(const uint8_t *pixels, size_t stride, size_t width, size_t height) {
  if (seen_.empty()) {
    if (!seen_.resize(seen_slots) || !palette_.start()) return false;
    std::fill(seen_.begin(), seen_.end(), 0);
  }
  for (size_t x = 0; x < width; x += column_width) {
    const size_t columns = std::min(column_width, width - x);
    const uint8_t *column = pixels + 4 * x;
    const auto row = [&](size_t y) { return column + y * stride; };
    const auto repeated = [&](size_t y) {
      size_t end = y;
      while (end < height && end > 0 && is_equal(row(end), row(end - 1), 4 * columns)) ++end;
      return end - y;
    };
    for (size_t y = 0; y < height;) {
      size_t end = y;
      if (is_plain(row(y), columns)) {
        for (++end;
             end - y < most_band_rows && end < height && is_equal(row(end), row(y), 4 * columns);)
          ++end;
        const size_t number = palette_.find_or_add(load<uint32_t>(row(y)));
        if (number < most_colours) {
          if (!push_band(band_plain, end - y) || !numbers_.push(static_cast<uint16_t>(number)))
            return false;
          y = end;
          continue;
        }
        end = y + 1;
      }
      if (const size_t rows = repeated(y); rows >= least_repeated) {
        if (!push_band(band_repeated, rows)) return false;
        y += rows;
        continue;
      }
      size_t run = 0;
      for (end = std::max(end, y + 1); end < height && end - y < most_band_rows; ++end) {
        if (is_plain(row(end), columns)) break;
        run = is_equal(row(end), row(end - 1), 4 * columns) ? run + 1 : 0;
        if (run == least_repeated) {
          end -= run - 1;
          break;
        }
      }
      const Band band = {row(y), stride, columns, end - y, x > 0, y > 0};
      if (!add_band(band)) return false;
      y = end;
    }
  }
  return true;
}

// The most colours that the band may have.
size_t BandPacker::colour_limit(const Band &band) {
  uint32_t hashes[column_width] = {};
  uint32_t equal = 0;
  for (size_t y = 0; y < band.rows; ++y) {
    const uint8_t *row = band.pixels + y * band.stride;
    for (size_t x = 0; x < band.width; ++x) {
      const uint32_t hash = hashes[x] ^ load<uint32_t>(row + 4 * x);
      hashes[x] = (hash << 7 | hash >> 25) + hash * 5;
    }
    for (size_t x = 1; x < band.width; ++x)
      equal += load<uint32_t>(row + 4 * x) == load<uint32_t>(row + 4 * x - 4);
  }
  size_t seen = 0;
  for (size_t x = 0; x < band.width; ++x) {
    const uint32_t hash = hashes[x] * 2654435761u + static_cast<uint32_t>(band.rows);
    uint32_t &slot = seen_[hash % seen_slots];
    seen += slot == hash;
    slot = hash;
  }
  const size_t pixels = band.width * band.rows;
  if (seen * columns_per_seen >= band.width) return pixels;
  const bool between = equal * pixels_per_equal >= pixels;
  return std::max(fewest_limit, pixels / (between ? pixels_per_colour_between : pixels_per_colour));
}

// False, with nothing of the band stored, when it has too many colours or memory is short.
bool BandPacker::add_colours(const Band &band) {
  const size_t pixels = band.width * band.rows;
  const size_t limit = colour_limit(band);
  const size_t known = palette_.count();
  const size_t begin = numbers_.size();
  if (!numbers_.resize(begin + pixels)) return false;
  uint16_t *to = numbers_.data() + begin;
  uint64_t met[most_colours / 64 + 1];
  const bool counts = limit < pixels;
  if (counts) std::memset(met, 0, sizeof met);
  size_t colours = 0;
  uint32_t last = ~band.at(0, 0);
  size_t number = 0;
  for (size_t x = 0; x < band.width; ++x)
    for (size_t y = 0; y < band.rows; ++y, *to++ = static_cast<uint16_t>(number)) {
      const uint32_t pixel = band.at(x, y);
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

bool BandPacker::add_band(const Band &band) {
  if (add_colours(band)) return push_band(band_colours, band.rows);
  return push_band(band_residuals, band.rows) &&
         strips_.add(band.pixels, band.stride, band.width, band.rows, band.has_left,
                     band.has_above);
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
  if (count > most_byte_colours) {
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
  const bool escapes = count > most_byte_colours;
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
  if (!packer.add(pixels, size_t{4} * width, width, height) || !packer.finish()) return false;
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
