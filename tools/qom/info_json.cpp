#include "info_json.h"

#include <utility>

#include "film_areas.h"
#include "gaps.h"
#include "origins.h"
#include "qom/screen.h"
#include "summary.h"

namespace qomtool {
namespace {

using Json = nlohmann::ordered_json;

Json json_text(const char *text) {
  return text ? Json(text) : Json(nullptr);
}

Json json_header(const QomHeader &header) {
  Json palette = Json::array();
  for (size_t i = 0; i < header.palette_size; ++i) {
    const RgbValue &entry = header.palette[i];
    palette.push_back({entry.red, entry.green, entry.blue});
  }
  return {{"start_us", header.timestamp},
          {"width", header.width},
          {"height", header.height},
          {"depth", header.depth},
          {"pixel_format", pixel_format_string(header.pixel_format)},
          {"scanline_pad", header.scanline_pad},
          {"palette", palette},
          {"min_keycode", header.min_keycode},
          {"max_keycode", header.max_keycode},
          {"user", json_text(header.user)},
          {"tfn", json_text(header.tfn)}};
}

Json json_records(const Summary &summary) {
  Json types = Json::object();
  for (size_t i = 0; i < summary.types.size(); ++i) {
    const TypeSummary &type = summary.types[i];
    if (type.count == 0) continue;
    types[record_name(static_cast<QomRecordType>(i))] = {{"count", type.count},
                                                         {"bytes", type.bytes}};
  }
  return {{"count", summary.total.count}, {"bytes", summary.total.bytes}, {"types", types}};
}

Json json_state(const QomReaderInfo &info) {
  return {{"state", qom_reader_state_to_string(info.state)},
          {"head_recovered", info.head_recovered != 0},
          {"file_bytes", info.file_size},
          {"torn_bytes", info.torn_bytes},
          {"damaged_bytes", info.damaged_bytes},
          {"damaged_at", info.damaged_at < 0 ? Json(nullptr) : Json(info.damaged_at)},
          {"times_raised", info.times_raised},
          {"unknown_records", info.unknown_records}};
}

Json json_gap(const Recording &recording, const Summary &summary) {
  if (summary.largest_gap == 0) return nullptr;
  return {{"us", summary.largest_gap},
          {"after_record", summary.gap_index},
          {"at_us", recording.index[summary.gap_index].timestamp}};
}

Json json_gaps(std::span<const QomGap> gaps) {
  Json all = Json::array();
  for (const QomGap &gap : gaps) {
    all.push_back({{"begin_us", gap.begin},
                   {"end_us", gap.end},
                   {"reason", gap_reason(gap.reason)},
                   {"clock_ahead_us", gap.clock_offset},
                   {"before_record", gap.record}});
  }
  return all;
}

Json json_film(const Recording &recording, uint64_t duration) {
  const std::span<const QomFilmArea> areas = film_areas_of(recording.reader.get());
  const FilmShare share = film_share(areas, *recording.header, duration);
  Json all = Json::array();
  for (const QomFilmArea &area : areas) {
    all.push_back({{"begin_us", area.begin},
                   {"end_us", area.end},
                   {"x", area.x},
                   {"y", area.y},
                   {"width", area.width},
                   {"height", area.height},
                   {"pictures_per_second", area.rate ? Json(area.rate / 1000.0) : Json(nullptr)},
                   {"quality", area.quality ? Json(area.quality) : Json(nullptr)}});
  }
  return {{"us", share.time},
          {"share_of_time",
           duration ? static_cast<double>(share.time) / static_cast<double>(duration) : 0},
          {"share_of_area", share.area},
          {"areas", all}};
}

Json json_origins(std::span<const QomOrigin> origins) {
  Json all = Json::array();
  for (const QomOrigin &origin : origins) {
    Json masks = Json::array();
    for (const QomRectangle &mask : masks_of(origin)) masks.push_back(mask_text(mask));
    all.push_back({{"file", json_text(origin.name)},
                   {"file_bytes", origin.size},
                   {"sha256", origin.has_sha256 ? Json(hash_text(origin)) : Json(nullptr)},
                   {"start_us", origin.start},
                   {"begin_us", origin.begin},
                   {"end_us", origin.end},
                   {"masks", masks},
                   {"lost_places", origin.lost},
                   {"sure_at_begin", origin.untrusted == 0}});
  }
  return all;
}

Json json_lossy(QomReader *reader) {
  QomLossyShare share;
  if (qom_screen_lossy_share(reader, nullptr, nullptr, &share) != 0) return nullptr;
  return {{"records", share.records},
          {"us", share.time},
          {"share_of_time",
           share.whole ? static_cast<double>(share.time) / static_cast<double>(share.whole) : 0},
          {"share_of_area", share.area}};
}

}  // namespace

Json info_json(const Recording &recording) {
  const QomReaderInfo &info = recording.info;
  const Summary summary = summarise(recording);
  Json json = {{"format", {{"major", info.major_version}, {"minor", info.minor_version}}}};
  json.update(json_state(info));
  json["header"] = json_header(*recording.header);
  json["duration_us"] = summary.duration;
  json["records"] = json_records(summary);
  const bool rate = summary.duration > 0;
  json["records_per_second"] =
      rate ? Json(per_second(summary.total.count, summary.duration)) : Json();
  json["bytes_per_second"] =
      rate ? Json(per_second(summary.total.bytes, summary.duration)) : Json();
  json["pictures_per_second"] =
      summary.picture_interval ? Json(per_second(1, summary.picture_interval)) : Json();
  json["largest_gap"] = json_gap(recording, summary);
  json["not_recorded"] = json_gaps(gaps_of(recording.reader.get()));
  json["film"] = json_film(recording, summary.duration);
  json["cut_out_of"] = json_origins(origins_of(recording.reader.get()));
  json["lossy"] = json_lossy(recording.reader.get());
  json["checkpoints"] = {{"count", info.checkpoint_count}, {"bytes", info.checkpoint_bytes}};
  return json;
}

}  // namespace qomtool
