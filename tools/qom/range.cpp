#include "range.h"

#include <algorithm>
#include <charconv>

#include "clock.h"
#include "text/quote.h"

namespace qomtool {
namespace {

std::optional<uint64_t> parse_index(std::string_view text) {
  if (text.starts_with('#')) text.remove_prefix(1);
  uint64_t value = 0;
  const char *end = text.data() + text.size();
  auto [rest, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || rest != end) return std::nullopt;
  return value;
}

// Number of records for which `before(entry)` holds; they come first.
template <typename Before>
size_t count(const Recording &recording, Before before) {
  const QomIndexEntry *end = recording.index + recording.length;
  return static_cast<size_t>(std::partition_point(recording.index, end, before) - recording.index);
}

uint64_t time_of(const Bound &bound, const Recording &recording) {
  return bound.kind == Bound::Kind::elapsed ? recording.header->timestamp + bound.value
                                            : bound.value;
}

size_t first_at(const Bound &bound, const Recording &recording) {
  if (bound.kind == Bound::Kind::index) return std::min<uint64_t>(bound.value, recording.length);
  const uint64_t time = time_of(bound, recording);
  return count(recording, [=](const QomIndexEntry &entry) { return entry.timestamp < time; });
}

size_t end_behind(const Bound &bound, const Recording &recording) {
  if (bound.kind == Bound::Kind::index) {
    return bound.value < recording.length ? bound.value + 1 : recording.length;
  }
  const uint64_t time = time_of(bound, recording);
  return count(recording, [=](const QomIndexEntry &entry) { return entry.timestamp <= time; });
}

}  // namespace

std::optional<Bound> parse_bound(const std::string &text) {
  if (const auto index = parse_index(text)) return Bound{Bound::Kind::index, *index};
  if (const auto elapsed = parse_elapsed(text)) return Bound{Bound::Kind::elapsed, *elapsed};
  if (const auto clock = parse_clock(text, Zone::local)) return Bound{Bound::Kind::clock, *clock};
  return std::nullopt;
}

std::string check_bound(const std::string &text) {
  if (parse_bound(text)) return "";
  return qomtool::quoted(text) +
         " is none of: a record's index (123 or #123), a time since the start (12.5s, 2:03 or "
         "1:02:03.5), a local time (\"YYYY-MM-DD HH:MM:SS.mmm\")";
}

Range choose(const Recording &recording, const std::string &from, const std::string &to) {
  Range range{0, recording.length};
  if (!from.empty()) range.begin = first_at(*parse_bound(from), recording);
  if (!to.empty()) range.end = end_behind(*parse_bound(to), recording);
  range.end = std::max(range.begin, range.end);
  return range;
}

}  // namespace qomtool
