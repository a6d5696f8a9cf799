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
  size_t packed_length = 0;  // bytes; 0: they are not packed
  qom::PackedForm form = qom::PackedForm::kinds;
  std::optional<qom::Decompression> decompression;  // none: done
  std::optional<qom::Unpacking> unpacking;          // none: not begun
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

// Bytes that are compressed alike; the parts of a record are a frame each.
struct Part {
  const uint8_t *raw;
  size_t length;
  Effort effort;
  std::span<const size_t> seams = {};
};
using Parts = std::span<const Part>;

// A record of the type with compressed bytes behind a codec byte; the caller fills in the rest.
template <typename Record>
RecordPtr<Record> compressed_record(uint8_t type, uint64_t timestamp, uint8_t codec, Parts parts) {
  size_t room = 1;
  for (const Part &part : parts) room += compress_bound(part.length);
  RecordPtr<Record> record(reinterpret_cast<Record *>(allocate_record(type, timestamp, room)));
  if (!record) return nullptr;
  uint8_t *data = record_data(record.get());
  size_t end = 0;
  data[end++] = codec;
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
RecordPtr<Record> packed_record(uint8_t type, uint64_t timestamp, const Packed &packed,
                                Effort effort) {
  const uint8_t *bytes = packed.bytes.data();
  const size_t length = packed.bytes.size();
  const uint8_t codec = packed.strips > 0 ? codec_zstd_strips : codec_zstd_packed;
  if (packed.strips < least_apart) {
    const Part whole[] = {{bytes, length, effort}};
    return compressed_record<Record>(type, timestamp, codec, whole);
  }
  const std::span<const size_t> seams = {packed.seams.data(), packed.seams.size()};
  const Part parts[] = {{bytes, packed.strips, Effort::residuals, seams},
                        {bytes + packed.strips, length - packed.strips, effort}};
  return compressed_record<Record>(type, timestamp, codec, parts);
}

RecordPtr<QomCompressedImage> compress_image(const QomImage *image) {
  Packed packed;
  if (pixel_format_bytes_per_pixel(image->pixel_format) == 4 &&
      pack_image(image->data, image->width, image->height, &packed))
    return packed_record<QomCompressedImage>(QOM_COMPRESSED_IMAGE, image->timestamp, packed,
                                             Effort::thorough);
  const Part whole[] = {{image->data, image->length, Effort::thorough}};
  return compressed_record<QomCompressedImage>(QOM_COMPRESSED_IMAGE, image->timestamp, codec_zstd,
                                               whole);
}

RecordPtr<QomCompressedImageBlocks> compress_blocks(const QomImageBlocks *blocks) {
  Packed packed;
  if (pack_blocks(blocks->data, blocks->length, &packed))
    return packed_record<QomCompressedImageBlocks>(QOM_COMPRESSED_IMAGE_BLOCKS, blocks->timestamp,
                                                   packed, Effort::usual);
  static const uint8_t nothing = 0;
  const Part whole[] = {{blocks->data ? blocks->data : &nothing, blocks->length, Effort::usual}};
  return compressed_record<QomCompressedImageBlocks>(QOM_COMPRESSED_IMAGE_BLOCKS, blocks->timestamp,
                                                     codec_zstd, whole);
}

bool is_packed(uint8_t codec) {
  return codec == codec_zstd_packed || codec == codec_zstd_strips;
}

PackedForm form_of(uint8_t codec) {
  return codec == codec_zstd_strips ? PackedForm::strips : PackedForm::kinds;
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
    if (!is_packed(codec)) return check_compressed(bytes, length, raw_length);
    decompressed = stated_length(bytes, length, most_packed(raw_length));
    if (decompressed == 0) return false;
    return raw_length <= most_unpacked(form_of(codec), decompressed) ||
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

// Begins with what check() has looked at. `row_bytes` is needed by the codec of left differences.
template <typename Record>
UncompressionPtr begin(const Stored &stored, RecordPtr<Record> record, size_t row_bytes,
                       const Destination &destination) {
  UncompressionPtr begun(new (std::nothrow) QomUncompression(destination));
  if (!begun) return out_of_memory();
  uint8_t *raw = record->data;
  uint8_t codec = stored.codec;
  if (is_packed(codec)) {
    begun->form = form_of(codec);
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

UncompressionPtr begin_image(const QomCompressedImage *compressed) {
  if (!compressed || !compressed->data || compressed->compressed_length < 2)
    return UncompressionPtr(invalid<QomUncompression>("no compressed image"));
  Stored stored = stored_pixels(compressed);
  const uint64_t length = image_bytes(compressed->width, compressed->height,
                                      compressed->pixel_format, compressed->scanline_pad);
  const bool wide = pixel_format_bytes_per_pixel(compressed->pixel_format) == 4;
  if (length == 0 || length != compressed->length || stored.codec < codec_zstd ||
      stored.codec > (wide ? codec_zstd_strips : codec_zstd))
    return QOM_REFUSE(nullptr, "a compressed image whose sizes or codec are not allowed");
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
  const Destination destination(image->data, image->width, image->height);
  const size_t row_bytes = image->bytes_per_line;
  return begin(stored, std::move(image), row_bytes, destination);
}

UncompressionPtr begin_blocks(const QomCompressedImageBlocks *compressed) {
  if (!compressed || !compressed->data || compressed->compressed_length < 2)
    return UncompressionPtr(invalid<QomUncompression>("no compressed image blocks"));
  Stored stored = stored_pixels(compressed);
  if ((stored.codec != codec_zstd && !is_packed(stored.codec)) || compressed->length > QOM_MAX_DATA)
    return QOM_REFUSE(nullptr, "compressed image blocks whose size or codec is not allowed");
  if (!stored.check(compressed->length)) return nullptr;
  auto blocks =
      pixel_record<QomImageBlocks>(QOM_IMAGE_BLOCKS, compressed->timestamp, compressed->length);
  if (!blocks) return nullptr;
  const Destination destination(blocks->data, blocks->length);
  return begin(stored, std::move(blocks), 0, destination);
}

Progress go_on(QomUncompression *begun, size_t bytes) {
  if (begun->decompression) {
    const Progress progress = begun->decompression->go_on(bytes);
    if (progress != Progress::done || begun->packed_length == 0) return progress;
    begun->decompression.reset();
    begun->unpacking.emplace(begun->form, begun->packed.get(), begun->packed_length,
                             begun->destination);
  }
  return begun->unpacking->go_on(bytes / sizeof(uint32_t));
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
  if (!image || !image->data ||
      image_bytes(image->width, image->height, image->pixel_format, image->scanline_pad) !=
          image->length ||
      image->length == 0 || image->bytes_per_line != image->length / image->height)
    return invalid<QomCompressedImage>("an image whose sizes disagree");
  RecordPtr<QomCompressedImage> compressed = compress_image(image);
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

QomCompressedImageBlocks *qom_image_blocks_compress(const QomImageBlocks *blocks) {
  if (!blocks || blocks->length > QOM_MAX_DATA || (blocks->length > 0 && !blocks->data))
    return invalid<QomCompressedImageBlocks>("image blocks whose sizes disagree");
  RecordPtr<QomCompressedImageBlocks> compressed = compress_blocks(blocks);
  if (compressed) compressed->length = blocks->length;
  return compressed.release();
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
