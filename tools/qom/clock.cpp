#include "clock.h"

#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <ctime>
#include <regex>

#include "qom/qom.h"

namespace qomtool {
namespace {

using Match = std::match_results<std::string_view::const_iterator>;

bool matches(std::string_view text, Match &match, const std::regex &pattern) {
  return std::regex_match(text.begin(), text.end(), match, pattern);
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

bool same_time(const std::tm &a, const std::tm &b) {
  return a.tm_year == b.tm_year && a.tm_mon == b.tm_mon && a.tm_mday == b.tm_mday &&
         a.tm_hour == b.tm_hour && a.tm_min == b.tm_min && a.tm_sec == b.tm_sec;
}

}  // namespace

std::string local_time(uint64_t time) {
  const std::time_t seconds = static_cast<std::time_t>(time / kSecond);
  std::tm parts{};
  char text[64];
  if (!localtime_r(&seconds, &parts)) {
    std::snprintf(text, sizeof text, "%" PRIu64 " s since 1970", time / kSecond);
    return text;
  }
  const size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
  std::snprintf(text + length, sizeof text - length, ".%03u",
                static_cast<unsigned>(time % kSecond / 1000));
  return text;
}

std::string elapsed_time(uint64_t start, uint64_t time) {
  const uint64_t distance = time < start ? start - time : time - start;
  const uint64_t milliseconds = distance / 1000;
  const uint64_t seconds = milliseconds / 1000;
  char text[48];
  std::snprintf(text, sizeof text, "%s%" PRIu64 ":%02u:%02u.%03u", time < start ? "-" : "",
                seconds / 3600, static_cast<unsigned>(seconds / 60 % 60),
                static_cast<unsigned>(seconds % 60), static_cast<unsigned>(milliseconds % 1000));
  return text;
}

std::string seconds_text(uint64_t microseconds) {
  char text[48];
  int length = std::snprintf(text, sizeof text, "%" PRIu64 ".%06u", microseconds / kSecond,
                             static_cast<unsigned>(microseconds % kSecond));
  while (text[length - 1] == '0') --length;
  if (text[length - 1] == '.') --length;
  return std::string(text, static_cast<size_t>(length));
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
  static const std::regex plain(R"((\d{1,18})(?:\.(\d{1,6}))?s)");
  static const std::regex colons(R"((?:(\d{1,12}):)?(\d{1,2}):(\d{1,2})(?:\.(\d{1,6}))?s?)");
  Match match;
  if (matches(text, match, plain)) return within_limit(digits(match, 1), decimals(match, 2));
  if (!matches(text, match, colons)) return std::nullopt;
  if (digits(match, 3) > 59 || (match[1].matched && digits(match, 2) > 59)) return std::nullopt;
  return within_limit(digits(match, 1) * 3600 + digits(match, 2) * 60 + digits(match, 3),
                      decimals(match, 4));
}

std::optional<uint64_t> parse_clock(std::string_view text, Zone zone) {
  static const std::regex pattern(
      R"((\d{4})-(\d\d)-(\d\d)[ T](\d\d):(\d\d):(\d\d)(?:\.(\d{1,6}))?)");
  Match match;
  if (!matches(text, match, pattern)) return std::nullopt;
  std::tm parts{};
  parts.tm_year = static_cast<int>(digits(match, 1)) - 1900;
  parts.tm_mon = static_cast<int>(digits(match, 2)) - 1;
  parts.tm_mday = static_cast<int>(digits(match, 3));
  parts.tm_hour = static_cast<int>(digits(match, 4));
  parts.tm_min = static_cast<int>(digits(match, 5));
  parts.tm_sec = static_cast<int>(digits(match, 6));
  parts.tm_isdst = -1;
  std::tm normal = parts;
  const std::time_t seconds = zone == Zone::utc ? timegm(&normal) : mktime(&normal);
  // Both functions carry a 31st of February over into March instead of refusing it.
  if (seconds < 0 || !same_time(parts, normal)) return std::nullopt;
  return within_limit(static_cast<uint64_t>(seconds), decimals(match, 7));
}

}  // namespace qomtool
