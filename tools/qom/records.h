// Handles and names for what libqom hands out.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qom/qom.h"

namespace qomtool {

struct CloseReader {
  void operator()(QomReader *reader) const { qom_reader_close(reader); }
};
using ReaderPtr = std::unique_ptr<QomReader, CloseReader>;

struct FreeRecord {
  void operator()(void *record) const { qom_record_free(record); }
};
using RecordPtr = std::unique_ptr<QomRecord, FreeRecord>;
using ImagePtr = std::unique_ptr<QomImage, FreeRecord>;
using BlocksPtr = std::unique_ptr<QomImageBlocks, FreeRecord>;

// A record of any type seen as its own structure.
template <typename Record>
const Record &as(const QomRecord *record) {
  return *reinterpret_cast<const Record *>(record);
}

// The areas of the screen that are lossy in a record; none for most records.
std::vector<QomRectangle> lossy_areas(const void *record);

// The type's name without its prefix, lower case, with hyphens: "compressed-image".
std::string record_name(QomRecordType type);

// The inverse.
std::optional<QomRecordType> record_type(std::string_view name);

// A pixel format by its name; FORMAT_UNKNOWN is none.
std::optional<PixelFormat> pixel_format(std::string_view name);

}  // namespace qomtool
