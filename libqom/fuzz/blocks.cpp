// Steps through the rectangles of image blocks: the first two bytes choose format and padding.
#include <algorithm>
#include <numeric>

#include "memory_file.h"
#include "qom/writer.h"

namespace {

using fuzz::require;

// Steps to the end; returns what ended it.
int walk(const QomImageBlocks *blocks, const QomHeader *header) {
  QomImage image;
  size_t offset = 0;
  for (;;) {
    const size_t before = offset;
    const int step = qom_image_blocks_next(blocks, header, &offset, &image);
    if (step != 1) {
      require(offset == before, "the offset stays where the walk ends");
      return step;
    }
    require(offset >= before + 8 + 1 && offset <= blocks->length, "every step gets on, inside");
    require(image.data + image.length == blocks->data + offset, "the pixels are those of the data");
    // Reads every pixel, so that the sanitizer sees them.
    volatile unsigned sum = std::accumulate(image.data, image.data + image.length, 0u);
    (void)sum;
  }
}

void pack_and_unpack(const QomImageBlocks *blocks) {
  QomCompressedImageBlocks *packed = qom_image_blocks_compress(blocks);
  QomImageBlocks *again = qom_image_blocks_uncompress(packed);
  require(again && again->length == blocks->length &&
              std::equal(again->data, again->data + again->length, blocks->data),
          "blocks survive compression");
  qom_record_free(again);
  qom_record_free(packed);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 2) return 0;
  QomHeader header = {};
  header.pixel_format = static_cast<PixelFormat>(data[0] % 16);
  header.scanline_pad = data[1];
  QomImageBlocks blocks = {};
  blocks.type = QOM_IMAGE_BLOCKS;
  blocks.length = static_cast<uint32_t>(size - 2);
  blocks.data = const_cast<uint8_t *>(data) + 2;
  if (walk(&blocks, &header) == 0) pack_and_unpack(&blocks);
  return 0;
}
