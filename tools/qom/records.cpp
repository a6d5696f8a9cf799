#include "records.h"

#include <cctype>

namespace qomtool {
namespace {

constexpr int kLastType = QOM_COPY_AREA;
constexpr int kLastFormat = BGRA8888;

}  // namespace

std::vector<QomRectangle> lossy_areas(const void *record) {
  std::vector<QomRectangle> areas(qom_lossy_areas(record, nullptr, 0));
  qom_lossy_areas(record, areas.data(), areas.size());
  return areas;
}

std::string record_name(QomRecordType type) {
  std::string name = qom_record_type_to_string(type);
  if (name.starts_with("QOM_")) name.erase(0, 4);
  for (char &c : name) {
    c = c == '_' ? '-' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return name;
}

std::optional<QomRecordType> record_type(std::string_view name) {
  for (int i = 0; i <= kLastType; ++i) {
    const auto type = static_cast<QomRecordType>(i);
    if (record_name(type) == name) return type;
  }
  return std::nullopt;
}

std::optional<PixelFormat> pixel_format(std::string_view name) {
  for (int i = PALETTE8; i <= kLastFormat; ++i) {
    const auto format = static_cast<PixelFormat>(i);
    if (name == pixel_format_string(format)) return format;
  }
  return std::nullopt;
}

}  // namespace qomtool
