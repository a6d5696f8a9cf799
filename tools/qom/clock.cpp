#include "clock.h"

#include <algorithm>
#include <charconv>
#include <cinttypes>
#include <cstdlib>
#include <ctime>
#include <regex>
#include <vector>

#include "formatted.h"
#include "qom/qom.h"

namespace qomtool {
namespace {

using Match = std::match_results<std::string_view::const_iterator>;

// Long texts would take the stack: the library recurses with each character.
bool matches(std::string_view text, Match &match, const std::regex &pattern) {
  return text.size() <= 64 && std::regex_match(text.begin(), text.end(), match, pattern);
}

// A group of at most eighteen digits; empty counts as 0.
uint64_t digits(const Match &match, size_t group) {
  uint64_t value = 0;
  for (char c : match[group].str()) value = value * 10 + static_cast<uint64_t>(c - '0');
  return value;
}

// The digits behind a decimal point, as microseconds.
uint64_t decimals(const Match &match, size_t group) {
  std::string text = match[group].str();
  text.resize(6, '0');
  return std::stoull(text);
}

std::optional<uint64_t> within_limit(uint64_t seconds, uint64_t microseconds) {
  if (seconds > (QOM_MAX_TIME - microseconds) / kSecond) return std::nullopt;
  return seconds * kSecond + microseconds;
}

// The time in the local zone; nothing in years that no calendar reaches.
std::optional<std::tm> local_parts(uint64_t time) {
  const std::time_t seconds = static_cast<std::time_t>(time / kSecond);
  std::tm parts{};
  if (!localtime_r(&seconds, &parts)) return std::nullopt;
  return parts;
}

// The parts by a strftime(3) format.
std::string formatted_parts(const char *format, const std::tm &parts) {
  char text[64];
  return std::string(text, std::strftime(text, sizeof text, format, &parts));
}

bool has_day(std::tm date) {
  const std::tm written = date;
  // A 31st of February is carried over into March instead of being refused.
  return timegm(&date) != -1 && date.tm_mday == written.tm_mday && date.tm_mon == written.tm_mon;
}

// When local clocks show a time on a day, which is so many days behind that of `time`. They may
// show it twice, before and after they were changed.
std::vector<uint64_t> occurrences(uint64_t time, int days, uint64_t time_of_day) {
  std::vector<uint64_t> found;
  const std::optional<std::tm> day = local_parts(time);
  if (!day) return found;
  const int seconds = static_cast<int>(time_of_day / kSecond);
  for (const int summer : {0, 1}) {
    std::tm wanted = *day;
    wanted.tm_mday += days;
    wanted.tm_hour = seconds / 3600;
    wanted.tm_min = seconds / 60 % 60;
    wanted.tm_sec = seconds % 60;
    wanted.tm_isdst = summer;
    const std::time_t moment = mktime(&wanted);
    if (moment < 0 || wanted.tm_hour * 3600 + wanted.tm_min * 60 + wanted.tm_sec != seconds)
      continue;
    found.push_back(static_cast<uint64_t>(moment) * kSecond + time_of_day % kSecond);
  }
  return found;
}

}  // namespace

std::string local_time(uint64_t time) {
  const std::optional<std::tm> parts = local_parts(time);
  if (!parts) return formatted("%" PRIu64 " s since 1970", time / kSecond);
  return formatted_parts("%Y-%m-%d %H:%M:%S", *parts) +
         formatted(".%03u", static_cast<unsigned>(time % kSecond / 1000));
}

std::string exact_time(uint64_t time) {
  const std::optional<std::tm> parts = local_parts(time);
  if (!parts) return local_time(time);
  const long minutes = parts->tm_gmtoff / 60;
  return formatted_parts("%Y-%m-%dT%H:%M:%S", *parts) +
         formatted(".%06u%c%02ld:%02ld", static_cast<unsigned>(time % kSecond),
                   minutes < 0 ? '-' : '+', std::abs(minutes) / 60, std::abs(minutes) % 60);
}

void use_utc() {
  setenv("TZ", "UTC0", 1);
  tzset();
}

std::string elapsed_time(uint64_t start, uint64_t time) {
  const uint64_t distance = time < start ? start - time : time - start;
  const uint64_t milliseconds = distance / 1000;
  const uint64_t seconds = milliseconds / 1000;
  return formatted("%s%" PRIu64 ":%02u:%02u.%03u", time < start ? "-" : "", seconds / 3600,
                   static_cast<unsigned>(seconds / 60 % 60), static_cast<unsigned>(seconds % 60),
                   static_cast<unsigned>(milliseconds % 1000));
}

std::string seconds_text(uint64_t microseconds) {
  std::string text = formatted("%" PRIu64 ".%06u", microseconds / kSecond,
                               static_cast<unsigned>(microseconds % kSecond));
  while (text.back() == '0') text.pop_back();
  if (text.back() == '.') text.pop_back();
  return text;
}

// Without a regular expression: every record of a text has one of these.
std::optional<uint64_t> parse_seconds(std::string_view text) {
  uint64_t seconds = 0;
  const char *end = text.data() + text.size();
  auto [point, error] = std::from_chars(text.data(), end, seconds);
  if (error != std::errc()) return std::nullopt;
  if (point == end) return within_limit(seconds, 0);
  const char *fraction = point + 1;
  if (*point != '.' || fraction == end || end - fraction > 6) return std::nullopt;
  uint64_t microseconds = 0;
  auto [rest, wrong] = std::from_chars(fraction, end, microseconds);
  if (wrong != std::errc() || rest != end) return std::nullopt;
  for (auto n = end - fraction; n < 6; ++n) microseconds *= 10;
  return within_limit(seconds, microseconds);
}

std::optional<uint64_t> parse_elapsed(std::string_view text) {
  static const std::regex plain(R"((\d{1,18})(?:\.(\d{0,6}))?\s*s?)");
  static const std::regex colons(R"((?:(\d{1,12}):)?(\d{1,6}):(\d{1,2})(?:\.(\d{1,6}))?s?)");
  static const std::regex units(
      R"((?:(\d{1,12})h)?\s*(?:(\d{1,12})m)?\s*(?:(\d{1,12})(?:\.(\d{1,6}))?s)?)");
  Match match;
  if (matches(text, match, plain)) return within_limit(digits(match, 1), decimals(match, 2));
  if (matches(text, match, colons)) {
    if (digits(match, 3) > 59 || (digits(match, 1) > 0 && digits(match, 2) > 59))
      return std::nullopt;
  } else if (text.empty() || !matches(text, match, units)) {
    return std::nullopt;
  }
  return within_limit(digits(match, 1) * 3600 + digits(match, 2) * 60 + digits(match, 3),
                      decimals(match, 4));
}

std::optional<uint64_t> parse_time_of_day(std::string_view text) {
  static const std::regex pattern(R"((\d{1,2}):(\d\d)(?::(\d\d)(?:\.(\d{1,6}))?)?)");
  Match match;
  if (!matches(text, match, pattern)) return std::nullopt;
  const uint64_t hours = digits(match, 1), minutes = digits(match, 2), seconds = digits(match, 3);
  if (hours > 23 || minutes > 59 || seconds > 59) return std::nullopt;
  return within_limit(hours * 3600 + minutes * 60 + seconds, decimals(match, 4));
}

std::optional<uint64_t> parse_clock(std::string_view text, Zone zone) {
  static const std::regex pattern(R"((\d{4})-(\d{1,2})-(\d{1,2})[ T]+(\S*))");
  Match match;
  if (!matches(text, match, pattern)) return std::nullopt;
  const std::optional<uint64_t> time = parse_time_of_day(match[4].str());
  std::tm parts{};
  parts.tm_year = static_cast<int>(digits(match, 1)) - 1900;
  parts.tm_mon = static_cast<int>(digits(match, 2)) - 1;
  parts.tm_mday = static_cast<int>(digits(match, 3));
  if (!time || !has_day(parts)) return std::nullopt;
  const auto of_day = static_cast<int>(*time / kSecond);
  parts.tm_hour = of_day / 3600;
  parts.tm_min = of_day / 60 % 60;
  parts.tm_sec = of_day % 60;
  parts.tm_isdst = -1;
  const std::time_t seconds = zone == Zone::utc ? timegm(&parts) : mktime(&parts);
  if (seconds < 0) return std::nullopt;
  return within_limit(static_cast<uint64_t>(seconds), *time % kSecond);
}

uint64_t nearest_time_of_day(uint64_t time_of_day, uint64_t first, uint64_t last) {
  std::optional<uint64_t> before, from_first_on;
  for (const int days : {0, 1}) {
    for (const uint64_t time : occurrences(first, days, time_of_day)) {
      if (time < first)
        before = std::max(time, before.value_or(0));
      else
        from_first_on = std::min(time, from_first_on.value_or(UINT64_MAX));
    }
  }
  if (!from_first_on) return before.value_or(first);
  const bool is_behind = *from_first_on > last;
  return before && is_behind && first - *before < *from_first_on - last ? *before : *from_first_on;
}

}  // namespace qomtool
