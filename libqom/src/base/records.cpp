#include "base/records.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "base/error.h"

namespace qom {
namespace {

// The layouts are part of the binary interface.
#define QOM_AT(type, field, offset) static_assert(offsetof(type, field) == (offset))
static_assert(sizeof(QomRecordType) == 4 && sizeof(PixelFormat) == 4);
static_assert(sizeof(RgbValue) == 8);
QOM_AT(RgbValue, green, 2);
QOM_AT(RgbValue, blue, 4);
static_assert(sizeof(QomRecord) == 16);
QOM_AT(QomRecord, type, 0);
QOM_AT(QomRecord, timestamp, 8);
static_assert(sizeof(QomHeader) == 64);
QOM_AT(QomHeader, version, 1);
QOM_AT(QomHeader, timestamp, 8);
QOM_AT(QomHeader, depth, 16);
QOM_AT(QomHeader, width, 18);
QOM_AT(QomHeader, height, 20);
QOM_AT(QomHeader, pixel_format, 24);
QOM_AT(QomHeader, scanline_pad, 28);
QOM_AT(QomHeader, palette_size, 30);
QOM_AT(QomHeader, palette, 32);
QOM_AT(QomHeader, min_keycode, 40);
QOM_AT(QomHeader, max_keycode, 41);
QOM_AT(QomHeader, user, 48);
QOM_AT(QomHeader, tfn, 56);
static_assert(sizeof(QomImage) == 48);
QOM_AT(QomImage, timestamp, 8);
QOM_AT(QomImage, width, 16);
QOM_AT(QomImage, height, 18);
QOM_AT(QomImage, x, 20);
QOM_AT(QomImage, y, 22);
QOM_AT(QomImage, pixel_format, 24);
QOM_AT(QomImage, scanline_pad, 28);
QOM_AT(QomImage, bytes_per_line, 32);
QOM_AT(QomImage, length, 36);
QOM_AT(QomImage, data, 40);
static_assert(sizeof(QomCompressedImage) == 48);
QOM_AT(QomCompressedImage, timestamp, 8);
QOM_AT(QomCompressedImage, width, 16);
QOM_AT(QomCompressedImage, height, 18);
QOM_AT(QomCompressedImage, x, 20);
QOM_AT(QomCompressedImage, y, 22);
QOM_AT(QomCompressedImage, pixel_format, 24);
QOM_AT(QomCompressedImage, scanline_pad, 28);
QOM_AT(QomCompressedImage, length, 32);
QOM_AT(QomCompressedImage, compressed_length, 36);
QOM_AT(QomCompressedImage, data, 40);
static_assert(sizeof(QomCursorImage) == 48);
QOM_AT(QomCursorImage, timestamp, 8);
QOM_AT(QomCursorImage, width, 16);
QOM_AT(QomCursorImage, height, 18);
QOM_AT(QomCursorImage, x, 20);
QOM_AT(QomCursorImage, y, 22);
QOM_AT(QomCursorImage, xhot, 24);
QOM_AT(QomCursorImage, yhot, 26);
QOM_AT(QomCursorImage, cursor_serial, 28);
QOM_AT(QomCursorImage, length, 32);
QOM_AT(QomCursorImage, data, 40);
static_assert(sizeof(QomCursorPosition) == 24);
QOM_AT(QomCursorPosition, x, 16);
QOM_AT(QomCursorPosition, y, 18);
static_assert(sizeof(QomScreenChange) == 24);
QOM_AT(QomScreenChange, width, 16);
QOM_AT(QomScreenChange, height, 18);
static_assert(sizeof(QomLastInput) == 32);
QOM_AT(QomLastInput, user, 16);
QOM_AT(QomLastInput, tfn, 24);
static_assert(sizeof(QomFooterItem) == 24);
QOM_AT(QomFooterItem, item, 16);
static_assert(sizeof(QomImageBlocks) == 32);
QOM_AT(QomImageBlocks, length, 16);
QOM_AT(QomImageBlocks, data, 24);
static_assert(sizeof(QomCompressedImageBlocks) == 32);
QOM_AT(QomCompressedImageBlocks, length, 16);
QOM_AT(QomCompressedImageBlocks, compressed_length, 20);
QOM_AT(QomCompressedImageBlocks, data, 24);
static_assert(sizeof(QomCopy) == 12);
QOM_AT(QomCopy, width, 4);
QOM_AT(QomCopy, to_x, 8);
static_assert(sizeof(QomCopyArea) == 32);
QOM_AT(QomCopyArea, count, 16);
QOM_AT(QomCopyArea, copies, 24);
static_assert(sizeof(QomIndexEntry) == 24);
QOM_AT(QomIndexEntry, timestamp, 8);
QOM_AT(QomIndexEntry, type, 16);
#undef QOM_AT

struct Type {
  const char *name;
  size_t struct_bytes;
};

constexpr Type types[] = {
    {"QOM_DONE", sizeof(QomRecord)},
    {"QOM_DEBUG", sizeof(QomRecord)},
    {"QOM_HEADER", sizeof(QomHeader)},
    {"QOM_IMAGE", sizeof(QomImage)},
    {"QOM_COMPRESSED_IMAGE", sizeof(QomCompressedImage)},
    {"QOM_CURSOR_IMAGE", sizeof(QomCursorImage)},
    {"QOM_CURSOR_POSITION", sizeof(QomCursorPosition)},
    {"QOM_SCREEN_CHANGE", sizeof(QomScreenChange)},
    {"QOM_LAST_INPUT", sizeof(QomLastInput)},
    {"QOM_FOOTER_ITEM_APP", sizeof(QomFooterItem)},
    {"QOM_FOOTER_ITEM_HOST", sizeof(QomFooterItem)},
    {"QOM_FOOTER_ITEM_IP", sizeof(QomFooterItem)},
    {"QOM_FOOTER_ITEM_SID", sizeof(QomFooterItem)},
    {"QOM_FOOTER_ITEM_TID", sizeof(QomFooterItem)},
    {"QOM_IMAGE_BLOCKS", sizeof(QomImageBlocks)},
    {"QOM_COMPRESSED_IMAGE_BLOCKS", sizeof(QomCompressedImageBlocks)},
    {"QOM_FOOTER_ITEM_APPFMT", sizeof(QomFooterItem)},
    {"QOM_COPY_AREA", sizeof(QomCopyArea)},
};

size_t text_bytes(const char *text) {
  return text ? std::strlen(text) + 1 : 0;
}

// Bytes that a record points to.
size_t pointed_bytes(const QomRecord *record) {
  switch (record->type) {
    case QOM_HEADER: {
      auto header = reinterpret_cast<const QomHeader *>(record);
      return header->palette_size * sizeof(RgbValue) + text_bytes(header->user) +
             text_bytes(header->tfn);
    }
    case QOM_IMAGE:
      return reinterpret_cast<const QomImage *>(record)->length;
    case QOM_COMPRESSED_IMAGE:
      return reinterpret_cast<const QomCompressedImage *>(record)->compressed_length;
    case QOM_CURSOR_IMAGE:
      return reinterpret_cast<const QomCursorImage *>(record)->length;
    case QOM_LAST_INPUT: {
      auto input = reinterpret_cast<const QomLastInput *>(record);
      return text_bytes(input->user) + text_bytes(input->tfn);
    }
    case QOM_IMAGE_BLOCKS:
      return reinterpret_cast<const QomImageBlocks *>(record)->length;
    case QOM_COMPRESSED_IMAGE_BLOCKS:
      return reinterpret_cast<const QomCompressedImageBlocks *>(record)->compressed_length;
    case QOM_COPY_AREA:
      return reinterpret_cast<const QomCopyArea *>(record)->count * sizeof(QomCopy);
    default:
      return is_footer_type(record->type)
                 ? text_bytes(reinterpret_cast<const QomFooterItem *>(record)->item)
                 : 0;
  }
}

// Lays copies of what a record points to one behind the other.
class Copier {
 public:
  explicit Copier(uint8_t *room) : room_(room) {}

  void bytes(uint8_t **field, size_t length) {
    if (length > 0) std::memcpy(room_, *field, length);
    *field = room_;
    room_ += length;
  }

  void text(char **field) {
    if (!*field) return;
    bytes(reinterpret_cast<uint8_t **>(field), text_bytes(*field));
  }

 private:
  uint8_t *room_;
};

// Replaces each pointer of a shallow copy by a copy of what it points to.
void copy_pointed(QomRecord *record, Copier copier) {
  switch (record->type) {
    case QOM_HEADER: {
      auto header = reinterpret_cast<QomHeader *>(record);
      if (header->palette_size > 0)
        copier.bytes(reinterpret_cast<uint8_t **>(&header->palette),
                     header->palette_size * sizeof(RgbValue));
      copier.text(&header->user);
      copier.text(&header->tfn);
      break;
    }
    case QOM_IMAGE: {
      auto image = reinterpret_cast<QomImage *>(record);
      copier.bytes(&image->data, image->length);
      break;
    }
    case QOM_COMPRESSED_IMAGE: {
      auto image = reinterpret_cast<QomCompressedImage *>(record);
      copier.bytes(&image->data, image->compressed_length);
      break;
    }
    case QOM_CURSOR_IMAGE: {
      auto cursor = reinterpret_cast<QomCursorImage *>(record);
      copier.bytes(&cursor->data, cursor->length);
      break;
    }
    case QOM_LAST_INPUT: {
      auto input = reinterpret_cast<QomLastInput *>(record);
      copier.text(&input->user);
      copier.text(&input->tfn);
      break;
    }
    case QOM_IMAGE_BLOCKS: {
      auto blocks = reinterpret_cast<QomImageBlocks *>(record);
      copier.bytes(&blocks->data, blocks->length);
      break;
    }
    case QOM_COMPRESSED_IMAGE_BLOCKS: {
      auto blocks = reinterpret_cast<QomCompressedImageBlocks *>(record);
      copier.bytes(&blocks->data, blocks->compressed_length);
      break;
    }
    case QOM_COPY_AREA: {
      auto area = reinterpret_cast<QomCopyArea *>(record);
      copier.bytes(reinterpret_cast<uint8_t **>(&area->copies), area->count * sizeof(QomCopy));
      break;
    }
    default:
      if (is_footer_type(record->type))
        copier.text(&reinterpret_cast<QomFooterItem *>(record)->item);
  }
}

}  // namespace

size_t record_struct_bytes(uint8_t type) {
  return type < std::size(types) ? types[type].struct_bytes : 0;
}

QomRecord *allocate_record(uint8_t type, uint64_t timestamp, size_t data_bytes) {
  void *memory = std::malloc(record_data_offset + data_bytes + 1);
  if (!memory) {
    set_error("out of memory for a record of %zu bytes", data_bytes);
    return nullptr;
  }
  std::memset(memory, 0, record_data_offset);
  auto record = static_cast<QomRecord *>(memory);
  record->type = type;
  record->timestamp = timestamp;
  return record;
}

}  // namespace qom

extern "C" {

const char *qom_record_type_to_string(QomRecordType type) {
  const auto value = static_cast<unsigned>(type);
  return value < std::size(qom::types) ? qom::types[value].name : "QOM_TYPE_UNKNOWN";
}

QomRecord *qom_record_dup(const void *record) {
  auto source = static_cast<const QomRecord *>(record);
  const size_t struct_bytes = source ? qom::record_struct_bytes(source->type) : 0;
  if (struct_bytes == 0) {
    errno = EINVAL;
    qom::set_error(source ? "no record type %d" : "no record to copy", source ? source->type : 0);
    return nullptr;
  }
  QomRecord *copy =
      qom::allocate_record(source->type, source->timestamp, qom::pointed_bytes(source));
  if (!copy) return nullptr;
  std::memcpy(static_cast<void *>(copy), source, struct_bytes);
  qom::copy_pointed(copy, qom::Copier(qom::record_data(copy)));
  return copy;
}

void qom_record_free(void *record) {
  std::free(record);
}

}  // extern "C"
