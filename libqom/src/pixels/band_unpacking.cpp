#include "pixels/band_unpacking.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/error.h"
#include "pixels/varint.h"
#include "qom/qom.h"

namespace qom {
namespace {

Progress refuse() {
  return QOM_REFUSE(Progress::failed, "packed pixels that do not give the image they should");
}

}  // namespace

BandUnpacking::BandUnpacking(uint8_t *packed, size_t packed_length, uint8_t *pixels, size_t width,
                             size_t height)
    : packed_(packed, packed_length),
      pixels_(pixels),
      width_(width),
      height_(height),
      stride_(4 * width),
      uses_up_(packed_length + stride_ * height > QOM_MAX_DATA),
      whole_(open()),
      columns_(std::min(width, column_width)) {}

bool BandUnpacking::open() {
  if (!strips_.open(packed_, uses_up_)) return false;
  size_t lengths[4];
  for (size_t &length : lengths)
    if (!get_varint(packed_, &length)) return false;
  colour_count_ = lengths[0];
  if (colour_count_ > most_colours) return false;
  colours_ = packed_.take(4 * colour_count_);
  if (!colours_) return false;
  std::memcpy(first_colours_, colours_, 4 * std::min(colour_count_, most_in_a_byte));
  ByteReader *const streams[] = {&bands_, &indices_, &escapes_};
  for (size_t i = 0; i < 3; ++i) {
    const uint8_t *bytes = packed_.take(lengths[i + 1]);
    if (!bytes) return false;
    *streams[i] = ByteReader(bytes, lengths[i + 1]);
  }
  if (uses_up_) used_up_.start(indices_.next());
  return packed_.left() == 0;
}

Progress BandUnpacking::go_on(size_t pixels) {
  for (size_t restored = 0; whole_ && x_ < width_;) {
    const size_t before = y_;
    if (!restore_band()) return refuse();
    restored += (y_ - before) * columns_;
    if (y_ == height_) {
      y_ = 0;
      x_ += columns_;
      columns_ = std::min(width_ - x_, column_width);
    }
    if (restored >= pixels && x_ < width_) return Progress::paused;
  }
  const bool all = whole_ && strips_.finished() && escapes_.ok() && bands_.left() == 0 &&
                   indices_.left() == 0 && escapes_.left() == 0;
  return all ? Progress::done : refuse();
}

bool BandUnpacking::restore_band() {
  const uint8_t *band = bands_.take(1);
  if (!band) return false;
  const size_t rows = band_rows(*band);
  if (rows > height_ - y_) return false;
  bool good = false;
  switch (band_kind(*band)) {
    case band_repeated:
      good = restore_repeated(rows);
      break;
    case band_plain:
      good = restore_plain(rows);
      break;
    case band_colours:
      good = restore_colours(rows);
      break;
    case band_residuals:
      good = strips_.unpack(columns_, rows, row(y_), stride_, x_ > 0, y_ > 0);
      break;
  }
  y_ += rows;
  used_up_.up_to(indices_.next());
  return good;
}

bool BandUnpacking::restore_repeated(size_t rows) {
  if (y_ == 0) return false;
  for (size_t y = y_; y < y_ + rows; ++y) std::memcpy(row(y), row(y_ - 1), 4 * columns_);
  return true;
}

uint32_t BandUnpacking::colour(size_t number) const {
  return number < colour_count_ ? load<uint32_t>(colours_ + 4 * number) : 0;
}

uint32_t BandUnpacking::colour_of(uint8_t index) {
  if (colour_count_ > most_in_a_byte && index == escape) return colour(escapes_.get<uint16_t>());
  return first_colours_[index];
}

bool BandUnpacking::restore_plain(size_t rows) {
  const uint8_t *index = indices_.take(1);
  if (!index) return false;
  const uint32_t pixel = colour_of(*index);
  for (size_t y = y_; y < y_ + rows; ++y)
    for (size_t x = 0; x < columns_; ++x) std::memcpy(row(y) + 4 * x, &pixel, sizeof pixel);
  return true;
}

bool BandUnpacking::restore_colours(size_t rows) {
  const uint8_t *indices = indices_.take(rows * columns_);
  if (!indices) return false;
  const bool escapes =
      colour_count_ > most_in_a_byte && std::memchr(indices, escape, rows * columns_);
  if (escapes) {
    for (size_t x = 0; x < columns_; ++x)
      for (size_t y = 0; y < rows; ++y) {
        const uint32_t pixel = colour_of(*indices++);
        std::memcpy(row(y_ + y) + 4 * x, &pixel, sizeof pixel);
      }
    return true;
  }
  for (size_t y = 0; y < rows; ++y) {
    uint8_t *to = row(y_ + y);
    for (size_t x = 0; x < columns_; ++x)
      std::memcpy(to + 4 * x, &first_colours_[indices[x * rows + y]], sizeof(uint32_t));
  }
  return true;
}

}  // namespace qom
