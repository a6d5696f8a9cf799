// Images and image blocks: compressing, decompressing, stepping through rectangles.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <utility>

#include "base/bytes.h"
#include "base/error.h"
#include "base/records.h"
#include "pixels/codec.h"
#include "pixels/left_differences.h"
#include "pixels/lossy_form.h"
#include "pixels/packed_form.h"
#include "pixels/packing.h"
#include "pixels/pixel_format.h"
#include "pixels/unpacking.h"
#include "qom/writer.h"

struct QomUncompression {
  explicit QomUncompression(const qom::Destination &all) : destination(all) {}

  qom::RecordPtr<QomRecord> record;  // of the pixels
  qom::Destination destination;      // all of them
  std::unique_ptr<uint8_t[]> packed;
  size_t packed_length = 0;                         // bytes; 0: they are not packed
  std::optional<qom::Decompression> decompression;  // none: done
  std::optional<qom::Unpacking> unpacking;          // none: not begun
  std::optional<qom::StillsUnpacking> stills;       // what is left when the exact pixels are there
};

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

template <typename Record>
Record *invalid(const char *reason) {
  set_error("%s", reason);
  errno = EINVAL;
  return nullptr;
}

// A record of the type with compressed bytes behind a codec byte, and behind `lossy` where there is
// something; the caller fills in the rest.
template <typename Record>
RecordPtr<Record> compressed_record(uint8_t type, uint64_t timestamp, uint8_t codec,
                                    const uint8_t *raw, size_t length, Effort effort,
                                    std::span<const size_t> seams = {},
                                    const LossyBytes *lossy = nullptr) {
  const size_t room = compress_bound(length);
  const size_t front = 1 + (lossy ? lossy->length() : 0);
  if (front > QOM_MAX_DATA) return RecordPtr<Record>(invalid<Record>("too many lossy pixels"));
  RecordPtr<Record> record(
      reinterpret_cast<Record *>(allocate_record(type, timestamp, front + room)));
  if (!record) return nullptr;
  uint8_t *data = record_data(record.get());
  const size_t stored = compress(raw, length, data + front, room, effort, seams);
  if (stored == 0) return nullptr;
  data[0] = lossy ? codec_lossy : codec;
  if (lossy) lossy->write(codec, data + 1);
  record->length = static_cast<uint32_t>(length);
  record->compressed_length = static_cast<uint32_t>(front + stored);
  record.reset(shrink(record.release()));
  return record;
}

// The left differences of a picture in `scratch`; false when they do not pay, or memory is short.
bool take_left_differences(const QomImage *image, std::unique_ptr<uint8_t[]> *scratch) {
  if (!left_differences_pay(image->data, image->length, image->bytes_per_line)) return false;
  scratch->reset(new (std::nothrow) uint8_t[image->length]);
  if (!*scratch) return false;
  to_left_differences(image->data, scratch->get(), image->length, image->bytes_per_line);
  return true;
}

// What looks like a photograph from edge to edge is restored fastest from left differences; the
// rest of what a screen shows takes least when it is packed.
RecordPtr<QomCompressedImage> compress_pixels(const QomImage *image, const LossyBytes *lossy) {
  const auto compressed = [image, lossy](uint8_t codec, const uint8_t *raw, size_t length,
                                         Effort effort, std::span<const size_t> seams = {}) {
    return compressed_record<QomCompressedImage>(QOM_COMPRESSED_IMAGE, image->timestamp, codec, raw,
                                                 length, effort, seams, lossy);
  };
  if (pixel_format_bytes_per_pixel(image->pixel_format) == 4) {
    std::unique_ptr<uint8_t[]> scratch;
    if (take_left_differences(image, &scratch))
      return compressed(codec_zstd_left, scratch.get(), image->length, Effort::quick);
    Packed packed;
    if (pack_image(image->data, image->width, image->height, &packed))
      return compressed(codec_zstd_packed, packed.bytes.data(), packed.bytes.size(),
                        packed.photographic ? Effort::quick : Effort::thorough,
                        {packed.seams.data(), packed.seams.size()});
  }
  return compressed(codec_zstd, image->data, image->length, Effort::thorough);
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
  const auto compressed = [&](uint8_t codec, const uint8_t *raw, size_t raw_length, Effort effort,
                              std::span<const size_t> seams = {}) {
    return compressed_record<QomCompressedImageBlocks>(
        QOM_COMPRESSED_IMAGE_BLOCKS, timestamp, codec, raw, raw_length, effort, seams, lossy);
  };
  Packed packed;
  RecordPtr<QomCompressedImageBlocks> record;
  static const uint8_t nothing = 0;
  if (pack_blocks(data, length, &packed))
    record = compressed(codec_zstd_packed, packed.bytes.data(), packed.bytes.size(),
                        packed.photographic ? Effort::quick : Effort::usual,
                        {packed.seams.data(), packed.seams.size()});
  else
    record = compressed(codec_zstd, data ? data : &nothing, length, Effort::usual);
  if (record) record->length = length;
  return record;
}

// --- lossy pixels ----------------------------------------------------------------------------

// Blocks of which none is left for the exact pixels.
RecordPtr<QomCompressedImageBlocks> stills_record(uint64_t timestamp, const LossyBytes &lossy) {
  using Record = QomCompressedImageBlocks;
  const size_t length = 1 + lossy.length();
  if (length > QOM_MAX_DATA) return RecordPtr<Record>(invalid<Record>("too many lossy pixels"));
  RecordPtr<Record> record(
      reinterpret_cast<Record *>(allocate_record(QOM_COMPRESSED_IMAGE_BLOCKS, timestamp, length)));
  if (!record) return nullptr;
  record->data = record_data(record.get());
  record->data[0] = codec_lossy;
  lossy.write(codec_stored, record->data + 1);
  record->compressed_length = static_cast<uint32_t>(length);
  return record;
}

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

// Compressed pixels of a record, behind their codec byte.
struct Stored {
  uint8_t codec;
  const uint8_t *bytes;
  size_t length;
  size_t decompressed = 0;  // bytes they decompress to, once check() has looked

  // Whether they say that they give `raw_length` bytes of pixels, or with the codec of packed ones
  // something that may give them; looked at before memory for them is allocated.
  bool check(size_t raw_length) {
    decompressed = raw_length;
    if (codec != codec_zstd_packed) return check_compressed(bytes, length, raw_length);
    decompressed = stated_length(bytes, length, most_packed(raw_length));
    if (decompressed == 0) return false;
    return raw_length <= most_unpacked(decompressed) ||
           QOM_REFUSE(false, "packed pixels that cannot give %zu bytes", raw_length);
  }
};

template <typename Compressed>
Stored stored_pixels(const Compressed *compressed) {
  return {compressed->data[0], compressed->data + 1, compressed->compressed_length - size_t{1}};
}

// A record for `length` bytes of pixels; the caller fills in the rest.
template <typename Record>
RecordPtr<Record> pixel_record(uint8_t type, uint64_t timestamp, size_t length) {
  RecordPtr<Record> record(reinterpret_cast<Record *>(allocate_record(type, timestamp, length)));
  if (!record) return nullptr;
  record->length = static_cast<uint32_t>(length);
  record->data = record_data(record.get());
  return record;
}

using UncompressionPtr = std::unique_ptr<QomUncompression>;

UncompressionPtr out_of_memory() {
  errno = ENOMEM;
  set_error("out of memory for packed pixels");
  return nullptr;
}

// Begins with what check() has looked at, to be restored from `raw` on in the record. `row_bytes`
// is needed by the codec of left differences.
template <typename Record>
UncompressionPtr begin(const Stored &stored, RecordPtr<Record> record, uint8_t *raw,
                       size_t row_bytes, const Destination &destination) {
  UncompressionPtr begun(new (std::nothrow) QomUncompression(destination));
  if (!begun) return out_of_memory();
  uint8_t codec = stored.codec;
  if (codec == codec_zstd_packed) {
    begun->packed.reset(new (std::nothrow) uint8_t[stored.decompressed]);
    begun->packed_length = stored.decompressed;
    raw = begun->packed.get();
    codec = codec_zstd;
    if (!raw) return out_of_memory();
  }
  begun->decompression.emplace(codec, stored.bytes, stored.length, raw, stored.decompressed,
                               row_bytes);
  begun->record.reset(reinterpret_cast<QomRecord *>(record.release()));
  return begun;
}

// The same where there are no exact pixels.
template <typename Record>
UncompressionPtr begin_without(RecordPtr<Record> record) {
  UncompressionPtr begun(new (std::nothrow) QomUncompression(Destination(nullptr, 0)));
  if (!begun) return out_of_memory();
  begun->record.reset(reinterpret_cast<QomRecord *>(record.release()));
  return begun;
}

// Takes lossy pixels apart: `stored` becomes their exact ones. Others have no parts.
bool take_apart(Stored *stored, LossyForm *form, size_t raw_length, unsigned width,
                unsigned height) {
  if (stored->codec != codec_lossy) return true;
  if (!form->open(stored->bytes, stored->length, raw_length, width, height)) return false;
  *stored = {form->exact_codec(), form->exact(), form->exact_length()};
  return true;
}

UncompressionPtr begin_image(const QomCompressedImage *compressed) {
  if (!compressed || !compressed->data || compressed->compressed_length < 2)
    return UncompressionPtr(invalid<QomUncompression>("no compressed image"));
  Stored stored = stored_pixels(compressed);
  const uint64_t length = image_bytes(compressed->width, compressed->height,
                                      compressed->pixel_format, compressed->scanline_pad);
  const bool wide = pixel_format_bytes_per_pixel(compressed->pixel_format) == 4;
  const bool is_known = stored.codec == codec_zstd || (wide && (stored.codec == codec_zstd_left ||
                                                                stored.codec == codec_zstd_packed ||
                                                                stored.codec == codec_lossy));
  if (length == 0 || length != compressed->length || !is_known)
    return QOM_REFUSE(nullptr, "a compressed image whose sizes or codec are not allowed");
  LossyForm form;
  if (!take_apart(&stored, &form, length, compressed->width, compressed->height)) return nullptr;
  if (form.count() > 0 && form.format() != compressed->pixel_format)
    return QOM_REFUSE(nullptr, "lossy pixels of another format than their image");
  if (!stored.check(length)) return nullptr;
  auto image = pixel_record<QomImage>(QOM_IMAGE, compressed->timestamp, length);
  if (!image) return nullptr;
  image->width = compressed->width;
  image->height = compressed->height;
  image->x = compressed->x;
  image->y = compressed->y;
  image->pixel_format = compressed->pixel_format;
  image->scanline_pad = compressed->scanline_pad;
  image->bytes_per_line = static_cast<uint32_t>(length / compressed->height);
  uint8_t *pixels = image->data;
  const Destination destination(pixels, image->width, image->height);
  const size_t row_bytes = image->bytes_per_line;
  UncompressionPtr begun = begin(stored, std::move(image), pixels, row_bytes, destination);
  if (begun && form.count() > 0) begun->stills.emplace(form, pixels, row_bytes);
  return begun;
}

UncompressionPtr begin_blocks(const QomCompressedImageBlocks *compressed) {
  if (!compressed || !compressed->data || compressed->compressed_length < 2)
    return UncompressionPtr(invalid<QomUncompression>("no compressed image blocks"));
  Stored stored = stored_pixels(compressed);
  if ((stored.codec != codec_zstd && stored.codec != codec_zstd_packed &&
       stored.codec != codec_lossy) ||
      compressed->length > QOM_MAX_DATA)
    return QOM_REFUSE(nullptr, "compressed image blocks whose size or codec is not allowed");
  LossyForm form;
  if (!take_apart(&stored, &form, compressed->length, 0, 0)) return nullptr;
  const size_t exact_length = compressed->length - form.still_bytes();
  const bool has_exact = form.count() == 0 || exact_length > 0;
  if (has_exact && !stored.check(exact_length)) return nullptr;
  auto blocks =
      pixel_record<QomImageBlocks>(QOM_IMAGE_BLOCKS, compressed->timestamp, compressed->length);
  if (!blocks) return nullptr;
  uint8_t *pixels = blocks->data;
  uint8_t *exact = pixels + form.still_bytes();
  UncompressionPtr begun =
      has_exact ? begin(stored, std::move(blocks), exact, 0, Destination(exact, exact_length))
                : begin_without(std::move(blocks));
  if (begun && form.count() > 0) begun->stills.emplace(form, pixels, 0);
  return begun;
}

// Those of the exact pixels.
Progress go_on_exactly(QomUncompression *begun, size_t bytes) {
  if (begun->decompression) {
    const Progress progress = begun->decompression->go_on(bytes);
    if (progress != Progress::done) return progress;
    begun->decompression.reset();
    if (begun->packed_length == 0) return progress;
    begun->unpacking.emplace(begun->packed.get(), begun->packed_length, begun->destination);
  }
  if (!begun->unpacking) return Progress::done;
  const Progress progress = begun->unpacking->go_on(bytes / sizeof(uint32_t));
  if (progress == Progress::done) begun->unpacking.reset();
  return progress;
}

Progress go_on(QomUncompression *begun, size_t bytes) {
  const Progress progress = go_on_exactly(begun, bytes);
  if (progress != Progress::done || !begun->stills) return progress;
  return begun->stills->go_on(bytes);
}

// The pixels, without a pause.
template <typename Record>
Record *whole(const UncompressionPtr &begun) {
  return begun && go_on(begun.get(), SIZE_MAX) == Progress::done
             ? reinterpret_cast<Record *>(begun->record.release())
             : nullptr;
}

}  // namespace
}  // namespace qom

using namespace qom;

extern "C" {

QomCompressedImage *qom_image_compress(const QomImage *image) {
  if (!is_whole(image)) return invalid<QomCompressedImage>("an image whose sizes disagree");
  return compress_image(image, nullptr);
}

QomCompressedImage *qom_image_compress_lossy(const QomImage *image, const QomRectangle *areas,
                                             size_t count, int quality) {
  if (!is_whole(image)) return invalid<QomCompressedImage>("an image whose sizes disagree");
  if (count == 0 || !has_stills(image->pixel_format)) return compress_image(image, nullptr);
  LossyBytes lossy(image->pixel_format);
  Array<QomRectangle> left;  // areas that are stills
  uint64_t pixels = 0;
  if (count > most_lossy_parts) return invalid<QomCompressedImage>(too_many_areas);
  for (size_t i = 0; i < count; ++i) {
    const QomRectangle area = areas[i];
    pixels += head_of(area).pixels();
    if (!is_area_within(area, image) || pixels > image->length / 4)
      return invalid<QomCompressedImage>("lossy areas that an image cannot have");
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
  if (!is_whole(image)) return invalid<QomCompressedImage>("an image whose sizes disagree");
  if (count == 0 || !has_stills(image->pixel_format)) return compress_image(image, nullptr);
  if (count > most_lossy_parts) return invalid<QomCompressedImage>(too_many_areas);
  LossyBytes lossy(image->pixel_format);
  for (size_t i = 0; i < count; ++i) {
    if (!is_area_within(areas[i], image))
      return invalid<QomCompressedImage>("lossy areas that an image cannot have");
    if (!lossy.add_mark(head_of(areas[i]))) return no_memory();
  }
  return compress_image(image, &lossy);
}

QomCompressedImageBlocks *qom_image_blocks_compress(const QomImageBlocks *blocks) {
  if (!blocks || blocks->length > QOM_MAX_DATA || (blocks->length > 0 && !blocks->data))
    return invalid<QomCompressedImageBlocks>("image blocks whose sizes disagree");
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
  auto record = exact.empty() ? stills_record(blocks->timestamp, lossy)
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
  if (count > most_lossy_parts) return invalid<QomCompressedImageBlocks>(too_many_areas);
  LossyBytes lossy(format);
  for (size_t i = 0; i < count; ++i) {
    if (!is_area(areas[i]))
      return invalid<QomCompressedImageBlocks>("lossy areas that a screen cannot have");
    if (!lossy.add_mark(head_of(areas[i]))) return no_memory();
  }
  return compress_blocks(blocks->timestamp, blocks->data, blocks->length, &lossy).release();
}

int qom_can_compress_lossy(void) {
  return can_still();
}

size_t qom_lossy_areas(const void *record, QomRectangle *areas, size_t room) {
  LossyForm form;
  int32_t x = 0;
  int32_t y = 0;
  if (!lossy_form_of(static_cast<const QomRecord *>(record), &form, &x, &y)) return 0;
  for (size_t i = 0; i < form.count() && i < room; ++i) {
    const BlockHead place = form.part(i).place;
    areas[i] = {x + place.x, y + place.y, place.width, place.height};
  }
  return form.count();
}

QomImage *qom_image_uncompress(const QomCompressedImage *compressed) {
  return whole<QomImage>(begin_image(compressed));
}

QomImageBlocks *qom_image_blocks_uncompress(const QomCompressedImageBlocks *compressed) {
  return whole<QomImageBlocks>(begin_blocks(compressed));
}

QomUncompression *qom_uncompression_begin(const void *compressed) {
  const auto *record = static_cast<const QomRecord *>(compressed);
  if (record && record->type == QOM_COMPRESSED_IMAGE)
    return begin_image(static_cast<const QomCompressedImage *>(compressed)).release();
  if (record && record->type == QOM_COMPRESSED_IMAGE_BLOCKS)
    return begin_blocks(static_cast<const QomCompressedImageBlocks *>(compressed)).release();
  return invalid<QomUncompression>("a record without compressed pixels");
}

int qom_uncompression_go_on(QomUncompression *uncompression, size_t bytes, QomRecord **pixels) {
  const Progress progress = go_on(uncompression, bytes);
  if (progress == Progress::paused) return 0;
  if (progress == Progress::failed) return -1;
  *pixels = uncompression->record.release();
  return 1;
}

void qom_uncompression_end(QomUncompression *uncompression) {
  delete uncompression;
}

int qom_image_blocks_next(const QomImageBlocks *blocks, const QomHeader *header, size_t *offset,
                          QomImage *image) {
  if (*offset >= blocks->length) return 0;
  const uint8_t *block = blocks->data + *offset;
  const size_t left = blocks->length - *offset;
  const auto head = left >= sizeof(BlockHead) ? load<BlockHead>(block) : BlockHead{};
  const uint64_t length =
      image_bytes(head.width, head.height, header->pixel_format, header->scanline_pad);
  if (length == 0 || length > left - sizeof head)
    return QOM_REFUSE(-1, "an image block at byte %zu of %u that has no pixels or does not fit",
                      *offset, blocks->length);
  std::memset(image, 0, sizeof *image);
  image->type = QOM_IMAGE;
  image->timestamp = blocks->timestamp;
  image->x = head.x;
  image->y = head.y;
  image->width = head.width;
  image->height = head.height;
  image->pixel_format = header->pixel_format;
  image->scanline_pad = header->scanline_pad;
  image->bytes_per_line = static_cast<uint32_t>(head.height > 1 ? length / head.height : length);
  image->length = static_cast<uint32_t>(length);
  image->data = const_cast<uint8_t *>(block) + sizeof head;
  *offset += sizeof head + length;
  return 1;
}

}  // extern "C"
