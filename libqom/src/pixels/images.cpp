// The rectangles of image blocks, and the lossy areas of a record.
#include <cerrno>
#include <cstring>

#include "base/bytes.h"
#include "base/error.h"
#include "pixels/lossy_form.h"
#include "pixels/packed_form.h"
#include "pixels/pixel_format.h"
#include "qom/writer.h"

using namespace qom;

extern "C" {

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
