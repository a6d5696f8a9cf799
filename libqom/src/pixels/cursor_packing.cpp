#include "pixels/cursor_packing.h"

#include <new>

#include "base/records.h"
#include "pixels/codec.h"

namespace qom {

std::unique_ptr<uint8_t[]> pack_cursor(const QomCursorImage *cursor, size_t *length) {
  const size_t room = compress_bound(cursor->length);
  std::unique_ptr<uint8_t[]> packed(new (std::nothrow) uint8_t[room]);
  if (!packed) return nullptr;
  *length = compress(cursor->data, cursor->length, packed.get(), room, Effort::usual);
  if (*length == 0 || *length >= cursor->length) return nullptr;
  return packed;
}

QomRecord *unpack_cursor(const uint8_t *stored, size_t stored_length, size_t length) {
  if (!check_compressed(stored, stored_length, length)) return nullptr;
  RecordPtr<QomRecord> record(allocate_record(QOM_CURSOR_IMAGE, 0, length));
  if (!record) return nullptr;
  if (!decompress(codec_zstd, stored, stored_length, record_data(record.get()), length, 0))
    return nullptr;
  return record.release();
}

}  // namespace qom
