#include "range.h"

#include <algorithm>

#include "moment.h"

namespace qomtool {
namespace {

// Nothing with the reason for what is no bound.
std::optional<Moment> parse_bound(const std::string &text, std::string *why) {
  const bool is_index = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
  return parse_moment(is_index ? '#' + text : text, why);
}

// Number of records for which `before(entry)` holds; they come first.
template <typename Before>
size_t count(const Recording &recording, Before before) {
  const QomIndexEntry *end = recording.index + recording.length;
  return static_cast<size_t>(std::partition_point(recording.index, end, before) - recording.index);
}

size_t first_at(const Moment &bound, const Recording &recording) {
  if (bound.kind == Moment::Kind::record) return std::min<uint64_t>(bound.value, recording.length);
  const uint64_t time = time_of(bound, recording, recording.header->timestamp);
  return count(recording, [=](const QomIndexEntry &entry) { return entry.timestamp < time; });
}

size_t end_behind(const Moment &bound, const Recording &recording) {
  if (bound.kind == Moment::Kind::record) {
    return bound.value < recording.length ? bound.value + 1 : recording.length;
  }
  const uint64_t time = time_of(bound, recording, recording.header->timestamp);
  return count(recording, [=](const QomIndexEntry &entry) { return entry.timestamp <= time; });
}

}  // namespace

std::string check_bound(const std::string &text) {
  std::string why;
  parse_bound(text, &why);
  return why;
}

Range choose(const Recording &recording, const std::string &from, const std::string &to) {
  Range range{0, recording.length};
  if (recording.length == 0) return range;
  std::string why;
  if (!from.empty()) range.begin = first_at(*parse_bound(from, &why), recording);
  if (!to.empty()) range.end = end_behind(*parse_bound(to, &why), recording);
  range.end = std::max(range.begin, range.end);
  return range;
}

}  // namespace qomtool
