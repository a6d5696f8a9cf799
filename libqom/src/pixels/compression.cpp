// Images and image blocks compressed: exactly, and with lossy stills.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <span>

#include "base/error.h"
#include "base/records.h"
#include "pixels/codec.h"
#include "pixels/lossy_form.h"
#include "pixels/packed_form.h"
#include "pixels/packing.h"
#include "pixels/pixel_format.h"
#include "qom/writer.h"

namespace qom {
namespace {

// Cuts the reserve off a record of compressed bytes; keeping it would do no harm.
template <typename Record>
Record *shrink(Record *record) {
  void *smaller =
      std::realloc(static_cast<void *>(record), record_data_offset + record->compressed_length + 1);
  if (smaller) record = static_cast<Record *>(smaller);
  record->data = record_data(record);
  return record;
}

// Bytes that are compressed alike; the parts of a record are a frame each.
struct Part {
  const uint8_t *raw;
  size_t length;
  Effort effort;
  std::span<const size_t> seams = {};
};
using Parts = std::span<const Part>;

// What a record says beside its compressed bytes.
struct RecordFront {
  uint8_t type;
  uint64_t timestamp;
  const LossyBytes *lossy = nullptr;  // what stands in front of them; none: all is exact
};

// A record with compressed bytes behind a codec byte; the caller fills in the rest.
template <typename Record>
RecordPtr<Record> compressed_record(const RecordFront &front, uint8_t codec, Parts parts) {
  size_t end = 1 + (front.lossy ? front.lossy->length() : 0);
  if (end > QOM_MAX_DATA) return QOM_INVALID(nullptr, "too many lossy pixels");
  size_t room = end;
  for (const Part &part : parts) room += compress_bound(part.length);
  RecordPtr<Record> record(
      reinterpret_cast<Record *>(allocate_record(front.type, front.timestamp, room)));
  if (!record) return nullptr;
  uint8_t *data = record_data(record.get());
  data[0] = front.lossy ? codec_lossy : codec;
  if (front.lossy) front.lossy->write(codec, data + 1);
  for (const Part &part : parts) {
    const size_t stored =
        compress(part.raw, part.length, data + end, room - end, part.effort, part.seams);
    if (stored == 0) return nullptr;
    end += stored;
  }
  record->compressed_length = static_cast<uint32_t>(end);
  record.reset(shrink(record.release()));
  return record;
}

// Residuals and the rest in one frame, where two cost more than they save.
constexpr size_t least_apart = 1024;  // bytes of residuals

template <typename Record>
RecordPtr<Record> packed_record(const RecordFront &front, const Packed &packed, Effort effort) {
  const uint8_t *bytes = packed.bytes.data();
  const size_t length = packed.bytes.size();
  const uint8_t codec = packed.form == PackedForm::bands    ? codec_zstd_bands
                        : packed.form == PackedForm::strips ? codec_zstd_strips
                                                            : codec_zstd_packed;
  if (packed.strips < least_apart) {
    const Part whole[] = {{bytes, length, effort}};
    return compressed_record<Record>(front, codec, whole);
  }
  const std::span<const size_t> seams = {packed.seams.data(), packed.seams.size()};
  const Part parts[] = {{bytes, packed.strips, Effort::residuals, seams},
                        {bytes + packed.strips, length - packed.strips, effort}};
  return compressed_record<Record>(front, codec, parts);
}

RecordPtr<QomCompressedImage> compress_pixels(const QomImage *image, const LossyBytes *lossy) {
  const RecordFront front = {QOM_COMPRESSED_IMAGE, image->timestamp, lossy};
  if (pixel_format_bytes_per_pixel(image->pixel_format) == 4) {
    Packed bands;
    if (pack_bands(image->data, image->width, image->height, &bands))
      return packed_record<QomCompressedImage>(front, bands, Effort::bands);
    Packed packed;
    if (pack_image(image->data, image->width, image->height, &packed))
      return packed_record<QomCompressedImage>(front, packed, Effort::thorough);
  }
  const Part whole[] = {{image->data, image->length, Effort::thorough}};
  return compressed_record<QomCompressedImage>(front, codec_zstd, whole);
}

QomCompressedImage *compress_image(const QomImage *image, const LossyBytes *lossy) {
  RecordPtr<QomCompressedImage> compressed = compress_pixels(image, lossy);
  if (!compressed) return nullptr;
  compressed->length = image->length;
  compressed->width = image->width;
  compressed->height = image->height;
  compressed->x = image->x;
  compressed->y = image->y;
  compressed->pixel_format = image->pixel_format;
  compressed->scanline_pad = image->scanline_pad;
  return compressed.release();
}

bool is_whole(const QomImage *image) {
  return image && image->data && image->length > 0 &&
         image_bytes(image->width, image->height, image->pixel_format, image->scanline_pad) ==
             image->length &&
         image->bytes_per_line == image->length / image->height;
}

RecordPtr<QomCompressedImageBlocks> compress_blocks(uint64_t timestamp, const uint8_t *data,
                                                    uint32_t length, const LossyBytes *lossy) {
  const RecordFront front = {QOM_COMPRESSED_IMAGE_BLOCKS, timestamp, lossy};
  Packed packed;
  RecordPtr<QomCompressedImageBlocks> record;
  static const uint8_t nothing = 0;
  const Part whole[] = {{data ? data : &nothing, length, Effort::usual}};
  if (pack_blocks(data, length, &packed))
    record = packed_record<QomCompressedImageBlocks>(front, packed, Effort::usual);
  else
    record = compressed_record<QomCompressedImageBlocks>(front, codec_zstd, whole);
  if (record) record->length = length;
  return record;
}

// --- lossy pixels ----------------------------------------------------------------------------

std::nullptr_t no_memory() {
  errno = ENOMEM;
  set_error("out of memory for lossy pixels");
  return nullptr;
}

// What cannot be told of in a block head is cut off.
BlockHead head_of(const QomRectangle &area) {
  return {static_cast<int16_t>(area.x), static_cast<int16_t>(area.y),
          static_cast<uint16_t>(area.width), static_cast<uint16_t>(area.height)};
}

constexpr const char *too_many_areas = "more lossy areas than a record may have";

bool is_area(const QomRectangle &area) {
  return area.x >= INT16_MIN && area.x <= INT16_MAX && area.y >= INT16_MIN && area.y <= INT16_MAX &&
         area.width > 0 && area.width <= int32_t{QOM_MAX_SIDE} && area.height > 0 &&
         area.height <= int32_t{QOM_MAX_SIDE};
}

bool is_area_within(const QomRectangle &area, const QomImage *image) {
  return is_area(area) && area.x >= 0 && area.y >= 0 && area.x + area.width <= image->width &&
         area.y + area.height <= image->height;
}

// A copy of an image of 32-bit pixels on which the areas are black.
std::unique_ptr<uint8_t[]> without_areas(const QomImage *image, const QomRectangle *areas,
                                         size_t count) {
  std::unique_ptr<uint8_t[]> pixels(new (std::nothrow) uint8_t[image->length]);
  if (!pixels) return no_memory();
  std::memcpy(pixels.get(), image->data, image->length);
  for (size_t i = 0; i < count; ++i)
    for (int32_t y = areas[i].y; y < areas[i].y + areas[i].height; ++y)
      std::memset(pixels.get() + size_t(y) * image->bytes_per_line + 4 * size_t(areas[i].x), 0,
                  4 * size_t(areas[i].width));
  return pixels;
}

// Adds the blocks as stills; those that are smaller as they are go to `exact`. False with the
// reason.
bool add_stills(const QomImageBlocks *blocks, PixelFormat format, int quality, LossyBytes *lossy,
                Array<uint8_t> *exact) {
  QomHeader header = {};
  header.pixel_format = format;
  QomImage block;
  size_t offset = 0;
  for (;;) {
    const size_t begin = offset;
    const int found = qom_image_blocks_next(blocks, &header, &offset, &block);
    if (found <= 0) return found == 0;
    const BlockHead place = {block.x, block.y, block.width, block.height};
    bool smaller = false;
    if (!lossy->full() &&
        !lossy->add_still(place, block.data, block.bytes_per_line, quality, &smaller))
      return false;
    if (smaller) continue;
    const size_t end = exact->size();
    if (!exact->resize(end + offset - begin)) return no_memory() != nullptr;
    std::memcpy(exact->data() + end, blocks->data + begin, offset - begin);
  }
}

}  // namespace
}  // namespace qom

using namespace qom;

extern "C" {

QomCompressedImage *qom_image_compress(const QomImage *image) {
  if (!is_whole(image)) return QOM_INVALID(nullptr, "an image whose sizes disagree");
  return compress_image(image, nullptr);
}

QomCompressedImage *qom_image_compress_lossy(const QomImage *image, const QomRectangle *areas,
                                             size_t count, int quality) {
  if (!is_whole(image)) return QOM_INVALID(nullptr, "an image whose sizes disagree");
  if (count == 0 || !has_stills(image->pixel_format)) return compress_image(image, nullptr);
  LossyBytes lossy(image->pixel_format);
  Array<QomRectangle> left;  // areas that are stills
  uint64_t pixels = 0;
  if (count > most_lossy_parts) return QOM_INVALID(nullptr, "%s", too_many_areas);
  for (size_t i = 0; i < count; ++i) {
    const QomRectangle area = areas[i];
    pixels += head_of(area).pixels();
    if (!is_area_within(area, image) || pixels > image->length / 4)
      return QOM_INVALID(nullptr, "lossy areas that an image cannot have");
    const uint8_t *at = image->data + size_t(area.y) * image->bytes_per_line + 4 * size_t(area.x);
    bool smaller;
    if (!lossy.add_still(head_of(area), at, image->bytes_per_line, quality, &smaller))
      return nullptr;
    if (smaller && !left.push(area)) return no_memory();
  }
  if (left.empty()) return compress_image(image, nullptr);
  const auto blank = without_areas(image, left.data(), left.size());
  if (!blank) return nullptr;
  QomImage rest = *image;
  rest.data = blank.get();
  return compress_image(&rest, &lossy);
}

QomCompressedImage *qom_image_compress_marked(const QomImage *image, const QomRectangle *areas,
                                              size_t count) {
  if (!is_whole(image)) return QOM_INVALID(nullptr, "an image whose sizes disagree");
  if (count == 0 || !has_stills(image->pixel_format)) return compress_image(image, nullptr);
  if (count > most_lossy_parts) return QOM_INVALID(nullptr, "%s", too_many_areas);
  LossyBytes lossy(image->pixel_format);
  for (size_t i = 0; i < count; ++i) {
    if (!is_area_within(areas[i], image))
      return QOM_INVALID(nullptr, "lossy areas that an image cannot have");
    if (!lossy.add_mark(head_of(areas[i]))) return no_memory();
  }
  return compress_image(image, &lossy);
}

QomCompressedImageBlocks *qom_image_blocks_compress(const QomImageBlocks *blocks) {
  if (!blocks || blocks->length > QOM_MAX_DATA || (blocks->length > 0 && !blocks->data))
    return QOM_INVALID(nullptr, "image blocks whose sizes disagree");
  return compress_blocks(blocks->timestamp, blocks->data, blocks->length, nullptr).release();
}

QomCompressedImageBlocks *qom_image_blocks_compress_lossy(const QomImageBlocks *blocks,
                                                          PixelFormat format, int quality) {
  if (!blocks || blocks->length > QOM_MAX_DATA || !blocks->data || !has_stills(format))
    return qom_image_blocks_compress(blocks);
  LossyBytes lossy(format);
  Array<uint8_t> exact;
  if (!add_stills(blocks, format, quality, &lossy, &exact)) return nullptr;
  if (lossy.count() == 0) return qom_image_blocks_compress(blocks);
  const RecordFront stills = {QOM_COMPRESSED_IMAGE_BLOCKS, blocks->timestamp, &lossy};
  auto record = exact.empty()
                    ? compressed_record<QomCompressedImageBlocks>(stills, codec_stored, {})
                    : compress_blocks(blocks->timestamp, exact.data(),
                                      static_cast<uint32_t>(exact.size()), &lossy);
  if (record) record->length = blocks->length;
  return record.release();
}

QomCompressedImageBlocks *qom_image_blocks_compress_marked(const QomImageBlocks *blocks,
                                                           PixelFormat format,
                                                           const QomRectangle *areas,
                                                           size_t count) {
  if (!blocks || blocks->length == 0 || blocks->length > QOM_MAX_DATA || !blocks->data ||
      count == 0 || !has_stills(format))
    return qom_image_blocks_compress(blocks);
  if (count > most_lossy_parts) return QOM_INVALID(nullptr, "%s", too_many_areas);
  LossyBytes lossy(format);
  for (size_t i = 0; i < count; ++i) {
    if (!is_area(areas[i])) return QOM_INVALID(nullptr, "lossy areas that a screen cannot have");
    if (!lossy.add_mark(head_of(areas[i]))) return no_memory();
  }
  return compress_blocks(blocks->timestamp, blocks->data, blocks->length, &lossy).release();
}

int qom_can_compress_lossy(void) {
  return can_still();
}

}  // extern "C"
