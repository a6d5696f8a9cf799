#include "origins.h"

#include "clock.h"
#include "counted.h"
#include "formatted.h"
#include "text/quote.h"

namespace qomtool {

std::span<const QomOrigin> origins_of(QomReader *reader) {
  size_t count = 0;
  const QomOrigin *origins = qom_reader_origins(reader, &count);
  return {origins, origins ? count : 0};
}

std::span<const QomRectangle> masks_of(const QomOrigin &origin) {
  return {origin.masks, origin.mask_count};
}

std::string mask_text(const QomRectangle &mask) {
  return std::to_string(mask.width) + 'x' + std::to_string(mask.height) + '+' +
         std::to_string(mask.x) + '+' + std::to_string(mask.y);
}

std::string hash_text(const QomOrigin &origin) {
  std::string text;
  for (const uint8_t byte : origin.sha256) text += formatted("%02x", byte);
  return text;
}

std::vector<std::string> origin_lines(const QomOrigin &origin) {
  std::vector<std::string> lines;
  lines.push_back((origin.name ? quoted_name(origin.name) : "a file") + ", " +
                  counted(origin.size, "byte") + ", start " + local_time(origin.start));
  lines.push_back("SHA-256 " + (origin.has_sha256 ? hash_text(origin) : "not known"));
  lines.push_back("from " + local_time(origin.begin) + " to " + local_time(origin.end));
  std::string masks;
  for (const QomRectangle &mask : masks_of(origin)) masks += ' ' + mask_text(mask);
  if (!masks.empty()) lines.push_back("masked:" + masks);
  if (origin.lost > 0)
    lines.push_back(counted(origin.lost, "place that could not be read is left out",
                            "places that could not be read are left out"));
  if (origin.untrusted) lines.push_back("damaged before: what it begins with is not sure");
  return lines;
}

}  // namespace qomtool
