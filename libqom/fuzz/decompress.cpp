// Decompresses an image whose geometry and bytes come from the input: 12 bytes of geometry and
// codec, then the compressed bytes.
#include <algorithm>

#include "memory_file.h"
#include "qom/writer.h"

namespace {

using fuzz::require;

constexpr size_t head_bytes = 12;
constexpr uint32_t max_compressed_again = 1 << 20;  // bytes; more takes too long

uint16_t number(const uint8_t *bytes) {
  return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}

void compress_again(const QomImage *image) {
  QomCompressedImage *again = qom_image_compress(image);
  QomImage *image_again = qom_image_uncompress(again);
  require(image_again && std::equal(image->data, image->data + image->length, image_again->data),
          "pixels survive compression");
  qom_record_free(image_again);
  qom_record_free(again);
}

void decompress_image(QomCompressedImage *compressed, bool right_length) {
  if (right_length)
    compressed->length =
        stride_in_bytes(
            compressed->width,
            static_cast<uint8_t>(8 * pixel_format_bytes_per_pixel(compressed->pixel_format)),
            compressed->scanline_pad) *
        compressed->height;
  QomImage *image = qom_image_uncompress(compressed);
  if (!image) return;
  require(
      image->length == compressed->length && image->bytes_per_line * image->height == image->length,
      "an image is as large as its geometry");
  if (image->length <= max_compressed_again) compress_again(image);
  qom_record_free(image);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < head_bytes) return 0;
  QomCompressedImage compressed = {};
  compressed.type = QOM_COMPRESSED_IMAGE;
  compressed.width = number(data);
  compressed.height = number(data + 2);
  compressed.pixel_format = static_cast<PixelFormat>(data[4] % 16);
  compressed.scanline_pad = data[5];
  compressed.length = number(data + 8);
  compressed.compressed_length = static_cast<uint32_t>(size - head_bytes);
  compressed.data = const_cast<uint8_t *>(data) + head_bytes;
  decompress_image(&compressed, data[6] & 1);

  QomCompressedImageBlocks packed = {};
  packed.type = QOM_COMPRESSED_IMAGE_BLOCKS;
  packed.length = number(data + 8);
  packed.compressed_length = compressed.compressed_length;
  packed.data = compressed.data;
  QomImageBlocks *blocks = qom_image_blocks_uncompress(&packed);
  require(!blocks || blocks->length == packed.length, "blocks are as long as they should be");
  qom_record_free(blocks);
  return 0;
}
