#include "moment.h"

#include <algorithm>
#include <charconv>
#include <regex>

#include "clock.h"
#include "text/quote.h"

namespace qomtool {
namespace {

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t";
  const size_t begin = std::min(text.find_first_not_of(blanks), text.size());
  text.remove_prefix(begin);
  return text.substr(0, text.find_last_not_of(blanks) + 1);
}

std::optional<uint64_t> parse_index(std::string_view text) {
  uint64_t value = 0;
  const char *end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || rest != end) return std::nullopt;
  return value;
}

constexpr size_t kLongest = 64;  // bytes of any moment

bool begins_with_date(std::string_view text) {
  static const std::regex date(R"(\d{4,}-\d+-\d+.*)");
  return std::regex_match(text.begin(), text.end(), date);
}

std::string what_is_wrong(std::string_view text) {
  if (!begins_with_date(text))
    return quoted(text) +
           " is not a time: write 1:02:03, 90s, @14:03:05, \"2026-11-22 14:03:05\" or #123 (a "
           "record)";
  if (text[4] != '-') return "years beyond 9999 are not understood here";
  return "there is no such day or time: " + quoted(text);
}

std::optional<Moment> some(Moment::Kind kind, std::optional<uint64_t> value) {
  if (!value) return std::nullopt;
  return Moment{kind, *value};
}

std::optional<Moment> parse(std::string_view text) {
  if (text.starts_with('#')) return some(Moment::Kind::record, parse_index(text.substr(1)));
  if (text.starts_with('@'))
    return some(Moment::Kind::day, parse_time_of_day(trimmed(text.substr(1))));
  if (begins_with_date(text)) return some(Moment::Kind::clock, parse_clock(text, Zone::local));
  return some(Moment::Kind::elapsed, parse_elapsed(text));
}

}  // namespace

std::optional<Moment> parse_moment(std::string_view text, std::string *why) {
  const std::string_view core = trimmed(text);
  if (core.size() > kLongest) {
    *why = quoted(std::string(core.substr(0, kLongest)) + "...") + " is too long for a time";
    return std::nullopt;
  }
  const std::optional<Moment> moment = parse(core);
  if (!moment) *why = what_is_wrong(core);
  return moment;
}

std::string check_moment(const std::string &text) {
  std::string why;
  parse_moment(text, &why);
  return why;
}

std::string check_length(const std::string &text) {
  if (parse_elapsed(text).value_or(0) > 0) return "";
  return quoted(text) + " is not a length of time above 0: write 60s, 0.5, 1:30 or 1h2m3s";
}

uint64_t time_of(const Moment &moment, const Recording &recording, uint64_t first) {
  const size_t last = recording.length - 1;
  switch (moment.kind) {
    case Moment::Kind::record:
      if (moment.value > last)
        throw NoSuchRecord("there is no record #" + std::to_string(moment.value) +
                           ", the last one is #" + std::to_string(last));
      return recording.index[moment.value].timestamp;
    case Moment::Kind::elapsed:
      return first + moment.value;
    case Moment::Kind::day:
      return nearest_time_of_day(moment.value, first, recording.index[last].timestamp);
    default:
      return moment.value;
  }
}

}  // namespace qomtool
