// Images and image blocks: compressing, decompressing, stepping through rectangles.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <span>

#include "codec.h"
#include "error.h"
#include "format.h"
#include "left_differences.h"
#include "packing.h"
#include "pixel_format.h"
#include "qom/writer.h"
#include "records.h"

namespace qom {
namespace {

constexpr size_t block_head_bytes = 8;

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

// A record of the type with compressed bytes behind a codec byte; the caller fills in the rest.
template <typename Record>
RecordPtr<Record> compressed_record(uint8_t type, uint64_t timestamp, uint8_t codec,
                                    const uint8_t *raw, size_t length, Effort effort,
                                    std::span<const size_t> seams = {}) {
  const size_t room = compress_bound(length);
  RecordPtr<Record> record(reinterpret_cast<Record *>(allocate_record(type, timestamp, 1 + room)));
  if (!record) return nullptr;
  uint8_t *data = record_data(record.get());
  const size_t stored = compress(raw, length, data + 1, room, effort, seams);
  if (stored == 0) return nullptr;
  data[0] = codec;
  record->length = static_cast<uint32_t>(length);
  record->compressed_length = static_cast<uint32_t>(1 + stored);
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
RecordPtr<QomCompressedImage> compress_image(const QomImage *image) {
  const auto compressed = [image](uint8_t codec, const uint8_t *raw, size_t length, Effort effort,
                                  std::span<const size_t> seams = {}) {
    return compressed_record<QomCompressedImage>(QOM_COMPRESSED_IMAGE, image->timestamp, codec, raw,
                                                 length, effort, seams);
  };
  if (pixel_format_bytes_per_pixel(image->pixel_format) == 4) {
    std::unique_ptr<uint8_t[]> scratch;
    if (take_left_differences(image, &scratch))
      return compressed(codec_zstd_left, scratch.get(), image->length, Effort::quick);
    Packed packed;
    if (pack_image(image->data, image->width, image->height, &packed))
      return compressed(codec_zstd_packed, packed.bytes.data(), packed.bytes.size(),
                        packed.photographic ? Effort::patient : Effort::thorough,
                        {packed.seams.data(), packed.seams.size()});
  }
  return compressed(codec_zstd, image->data, image->length, Effort::thorough);
}

// Decompresses packed pixels, of which there will be `packed_length` bytes, and gives them to
// `unpack(packed, length)`.
template <typename Unpack>
bool decompress_packed(const uint8_t *stored, size_t stored_length, size_t packed_length,
                       Unpack unpack) {
  const std::unique_ptr<uint8_t[]> packed(new (std::nothrow) uint8_t[packed_length]);
  if (!packed) {
    errno = ENOMEM;
    set_error("out of memory for packed pixels");
    return false;
  }
  if (!decompress(codec_zstd, stored, stored_length, packed.get(), packed_length, 0)) return false;
  return unpack(packed.get(), packed_length) ||
         QOM_REFUSE(false, "packed pixels that do not give the blocks they should");
}

// The number of bytes that stored pixels decompress to, looked at before memory for them is
// allocated: `length`, or with packed ones at most what that may be packed into. 0 with the reason
// otherwise.
size_t decompressed_length(uint8_t codec, const uint8_t *stored, size_t stored_length,
                           size_t length) {
  if (codec != codec_zstd_packed)
    return check_compressed(stored, stored_length, length) ? length : 0;
  const size_t packed_length = stated_length(stored, stored_length, most_packed(length));
  if (packed_length > 0 && length > most_unpacked(packed_length))
    return QOM_REFUSE(0, "packed pixels that cannot give %zu bytes", length);
  return packed_length;
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
  Packed packed;
  if (pack_blocks(blocks->data, blocks->length, &packed)) {
    auto compressed = compressed_record<QomCompressedImageBlocks>(
        QOM_COMPRESSED_IMAGE_BLOCKS, blocks->timestamp, codec_zstd_packed, packed.bytes.data(),
        packed.bytes.size(), packed.photographic ? Effort::patient : Effort::usual,
        {packed.seams.data(), packed.seams.size()});
    if (compressed) compressed->length = blocks->length;
    return compressed.release();
  }
  static const uint8_t nothing = 0;
  return compressed_record<QomCompressedImageBlocks>(
             QOM_COMPRESSED_IMAGE_BLOCKS, blocks->timestamp, codec_zstd,
             blocks->data ? blocks->data : &nothing, blocks->length, Effort::usual)
      .release();
}

QomImage *qom_image_uncompress(const QomCompressedImage *compressed) {
  if (!compressed || !compressed->data || compressed->compressed_length < 2)
    return invalid<QomImage>("no compressed image");
  const uint8_t codec = compressed->data[0];
  const uint64_t length = image_bytes(compressed->width, compressed->height,
                                      compressed->pixel_format, compressed->scanline_pad);
  const size_t pixel_bytes = pixel_format_bytes_per_pixel(compressed->pixel_format);
  if (length == 0 || length != compressed->length ||
      (codec != codec_zstd &&
       !((codec == codec_zstd_left || codec == codec_zstd_packed) && pixel_bytes == 4)))
    return QOM_REFUSE(nullptr, "a compressed image whose sizes or codec are not allowed");
  const uint8_t *stored = compressed->data + 1;
  const size_t stored_length = compressed->compressed_length - 1;
  const size_t decompressed = decompressed_length(codec, stored, stored_length, length);
  if (decompressed == 0) return nullptr;
  RecordPtr<QomImage> image(
      reinterpret_cast<QomImage *>(allocate_record(QOM_IMAGE, compressed->timestamp, length)));
  if (!image) return nullptr;
  image->width = compressed->width;
  image->height = compressed->height;
  image->x = compressed->x;
  image->y = compressed->y;
  image->pixel_format = compressed->pixel_format;
  image->scanline_pad = compressed->scanline_pad;
  image->bytes_per_line = static_cast<uint32_t>(length / compressed->height);
  image->length = static_cast<uint32_t>(length);
  image->data = record_data(image.get());
  const auto unpack = [&image](const uint8_t *packed, size_t packed_length) {
    return unpack_image(packed, packed_length, image->data, image->width, image->height);
  };
  const bool whole =
      codec == codec_zstd_packed
          ? decompress_packed(stored, stored_length, decompressed, unpack)
          : decompress(codec, stored, stored_length, image->data, length, image->bytes_per_line);
  return whole ? image.release() : nullptr;
}

QomImageBlocks *qom_image_blocks_uncompress(const QomCompressedImageBlocks *compressed) {
  if (!compressed || !compressed->data || compressed->compressed_length < 2)
    return invalid<QomImageBlocks>("no compressed image blocks");
  const uint8_t codec = compressed->data[0];
  if ((codec != codec_zstd && codec != codec_zstd_packed) || compressed->length > QOM_MAX_DATA)
    return QOM_REFUSE(nullptr, "compressed image blocks whose size or codec is not allowed");
  const uint8_t *stored = compressed->data + 1;
  const size_t stored_length = compressed->compressed_length - 1;
  const bool empty = compressed->length == 0;
  const size_t decompressed = decompressed_length(codec, stored, stored_length, compressed->length);
  if (decompressed == 0 && !empty) return nullptr;
  RecordPtr<QomImageBlocks> blocks(reinterpret_cast<QomImageBlocks *>(
      allocate_record(QOM_IMAGE_BLOCKS, compressed->timestamp, compressed->length)));
  if (!blocks) return nullptr;
  blocks->length = compressed->length;
  blocks->data = record_data(blocks.get());
  const auto unpack = [&blocks](const uint8_t *packed, size_t packed_length) {
    return unpack_blocks(packed, packed_length, blocks->data, blocks->length);
  };
  const bool whole =
      codec == codec_zstd_packed
          ? decompress_packed(stored, stored_length, decompressed, unpack)
          : decompress(codec_zstd, stored, stored_length, blocks->data, blocks->length, 0);
  return whole ? blocks.release() : nullptr;
}

int qom_image_blocks_next(const QomImageBlocks *blocks, const QomHeader *header, size_t *offset,
                          QomImage *image) {
  if (*offset >= blocks->length) return 0;
  const uint8_t *block = blocks->data + *offset;
  const size_t left = blocks->length - *offset;
  uint16_t fields[4] = {};
  if (left >= block_head_bytes) std::memcpy(fields, block, sizeof fields);
  const uint64_t length =
      image_bytes(fields[2], fields[3], header->pixel_format, header->scanline_pad);
  if (length == 0 || length > left - block_head_bytes)
    return QOM_REFUSE(-1, "an image block at byte %zu of %u that has no pixels or does not fit",
                      *offset, blocks->length);
  std::memset(image, 0, sizeof *image);
  image->type = QOM_IMAGE;
  image->timestamp = blocks->timestamp;
  image->x = static_cast<int16_t>(fields[0]);
  image->y = static_cast<int16_t>(fields[1]);
  image->width = fields[2];
  image->height = fields[3];
  image->pixel_format = header->pixel_format;
  image->scanline_pad = header->scanline_pad;
  image->bytes_per_line = static_cast<uint32_t>(length / fields[3]);
  image->length = static_cast<uint32_t>(length);
  image->data = const_cast<uint8_t *>(block) + block_head_bytes;
  *offset += block_head_bytes + length;
  return 1;
}

}  // extern "C"
