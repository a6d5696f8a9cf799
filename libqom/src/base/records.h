// Records in memory: what each type consists of, and one allocation for a record with all
// that it points to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "qom/qom.h"

namespace qom {

struct RecordFree {
  void operator()(void *record) const { qom_record_free(record); }
};

template <typename T>
using RecordPtr = std::unique_ptr<T, RecordFree>;

// Bytes of the structure of a record type; 0 for types that are not records.
size_t record_struct_bytes(uint8_t type);

// Where the bytes that a record points to begin, counted from the record.
inline constexpr size_t record_data_offset = 64;

// A zeroed record of the type with room for `data_bytes` bytes at record_data_offset and one
// more. Null (errno ENOMEM) when memory is short.
QomRecord *allocate_record(uint8_t type, uint64_t timestamp, size_t data_bytes);

inline uint8_t *record_data(void *record) {
  return static_cast<uint8_t *>(record) + record_data_offset;
}

inline bool is_footer_type(uint8_t type) {
  return (type >= QOM_FOOTER_ITEM_APP && type <= QOM_FOOTER_ITEM_TID) ||
         type == QOM_FOOTER_ITEM_APPFMT;
}

}  // namespace qom
