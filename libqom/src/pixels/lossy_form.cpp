#include "pixels/lossy_form.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/error.h"
#include "pixels/codec.h"
#include "pixels/pixel_format.h"

namespace qom {
namespace {

// What beginning a still takes, as if it were bytes of pixels.
constexpr size_t bytes_of_head = 4096;

bool refuse() {
  return QOM_REFUSE(false, "lossy pixels whose sizes disagree");
}

bool is_inside(BlockHead place, unsigned width, unsigned height) {
  return place.x >= 0 && place.y >= 0 && unsigned(place.x) + place.width <= width &&
         unsigned(place.y) + place.height <= height;
}

}  // namespace

bool LossyForm::open(const uint8_t *stored, size_t length, size_t raw_length, unsigned width,
                     unsigned height) {
  ByteReader bytes(stored, length);
  format_ = to_pixel_format(bytes.get<uint8_t>());
  exact_codec_ = bytes.get<uint8_t>();
  bytes.get<uint16_t>();
  count_ = bytes.get<uint32_t>();
  if (!bytes.ok() || !has_stills(format_)) return refuse();
  if (count_ == 0 || count_ > most_lossy_parts || count_ > bytes.left() / sizeof(LossyPart)) return refuse();
  parts_ = bytes.take(count_ * sizeof(LossyPart));
  stills_ = bytes.next();
  return check_parts(bytes.left(), raw_length, width, height);
}

// Stills on an image are no more pixels than it has, so that they take no more time.
bool LossyForm::check_parts(size_t left, size_t raw_length, unsigned width, unsigned height) {
  const bool is_image = width > 0;
  uint64_t pixels = 0;
  uint64_t bytes = 0;
  uint64_t stored = 0;
  for (size_t i = 0; i < count_; ++i) {
    const LossyPart next = part(i);
    const BlockHead place = next.place;
    if (place.pixels() == 0 || place.width > QOM_MAX_SIDE || place.height > QOM_MAX_SIDE)
      return refuse();
    if (is_image && !is_inside(place, width, height)) return refuse();
    if (next.length == 0) continue;
    pixels += place.pixels();
    bytes += sizeof place + 4 * place.pixels();
    stored += next.length;
  }
  const size_t room = is_image ? raw_length / 4 : raw_length;
  if ((is_image ? pixels : bytes) > room || stored > left) return refuse();
  still_bytes_ = is_image ? 0 : bytes;
  exact_ = stills_ + stored;
  exact_length_ = left - stored;
  const bool exact_wanted = still_bytes_ < raw_length;
  if (!exact_wanted) return (exact_codec_ == codec_stored && exact_length_ == 0) || refuse();
  return (exact_codec_ == codec_zstd || exact_codec_ == codec_zstd_packed ||
          (is_image && exact_codec_ == codec_zstd_left)) ||
         refuse();
}

bool lossy_form_of(const QomRecord *record, LossyForm *form, int32_t *x, int32_t *y) {
  *x = *y = 0;
  if (record && record->type == QOM_COMPRESSED_IMAGE) {
    const auto *image = reinterpret_cast<const QomCompressedImage *>(record);
    *x = image->x;
    *y = image->y;
    return image->compressed_length > 1 && image->data[0] == codec_lossy &&
           form->open(image->data + 1, image->compressed_length - 1, image->length, image->width,
                      image->height);
  }
  if (!record || record->type != QOM_COMPRESSED_IMAGE_BLOCKS) return false;
  const auto *blocks = reinterpret_cast<const QomCompressedImageBlocks *>(record);
  return blocks->compressed_length > 1 && blocks->data[0] == codec_lossy &&
         form->open(blocks->data + 1, blocks->compressed_length - 1, blocks->length, 0, 0);
}

bool LossyBytes::add_still(BlockHead place, const uint8_t *pixels, size_t stride, int quality,
                           bool *smaller) {
  const size_t begin = stills_.size();
  if (!pack_still(pixels, stride, place.width, place.height, format_, quality, &stills_))
    return false;
  const size_t length = stills_.size() - begin;
  *smaller = length < 4 * place.pixels();
  if (!*smaller) {
    stills_.truncate(begin);
    return true;
  }
  if (parts_.push({place, static_cast<uint32_t>(length)})) return true;
  errno = ENOMEM;
  set_error("out of memory for lossy pixels");
  return false;
}

void LossyBytes::write(uint8_t exact_codec, uint8_t *to) const {
  ByteWriter(to)
      .put(static_cast<uint8_t>(format_))
      .put(exact_codec)
      .put(uint16_t{0})
      .put(static_cast<uint32_t>(parts_.size()))
      .put_bytes(parts_.data(), parts_.size() * sizeof(LossyPart))
      .put_bytes(stills_.data(), stills_.size());
}

Progress StillsUnpacking::go_on(size_t bytes) {
  for (size_t restored = 0; next_ < form_.count() || rows_left_ > 0;) {
    if (restored >= bytes) return Progress::paused;
    if (rows_left_ == 0) {
      if (!begin_part(form_.part(next_++))) return Progress::failed;
      restored += bytes_of_head;
      continue;
    }
    const size_t row_bytes = 4 * width_;
    const size_t rows = std::min(rows_left_, std::max<size_t>((bytes - restored) / row_bytes, 1));
    if (!still_.restore(rows, to_, to_stride_)) return Progress::failed;
    to_ += rows * to_stride_;
    rows_left_ -= rows;
    restored += rows * row_bytes;
    if (rows_left_ == 0 && !still_.finish()) return Progress::failed;
  }
  return Progress::done;
}

bool StillsUnpacking::begin_part(LossyPart part) {
  if (part.length == 0) return true;
  const BlockHead place = part.place;
  width_ = place.width;
  if (stride_ > 0) {
    to_ = pixels_ + size_t(place.y) * stride_ + 4 * size_t(place.x);
    to_stride_ = stride_;
  } else {
    std::memcpy(pixels_, &place, sizeof place);
    to_ = pixels_ + sizeof place;
    to_stride_ = 4 * width_;
    pixels_ = to_ + 4 * place.pixels();
  }
  const uint8_t *still = next_still_;
  next_still_ += part.length;
  rows_left_ = place.height;
  return still_.open(still, part.length, place.width, place.height, form_.format());
}

}  // namespace qom
