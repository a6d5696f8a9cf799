// Times as people write and read them. All values are microseconds since the epoch, or a number of
// microseconds where the name says so.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qomtool {

constexpr uint64_t kSecond = 1'000'000;

// "2026-11-22 21:33:05.123" in the local time zone, cut to milliseconds.
std::string local_time(uint64_t time);

// "0:00:12.345": hours, minutes and seconds from `start` to `time`, cut to milliseconds; with a
// minus sign when `time` is the earlier one.
std::string elapsed_time(uint64_t start, uint64_t time);

// "12", "12.5", "0.000001": exact seconds without trailing zeros.
std::string seconds_text(uint64_t microseconds);

// The inverse: digits, and up to six more behind a point. Nothing when the text is anything else or
// the number is above QOM_MAX_TIME.
std::optional<uint64_t> parse_seconds(std::string_view text);

// "12.5s", "2:03.5" or "1:02:03.5", as microseconds.
std::optional<uint64_t> parse_elapsed(std::string_view text);

// "YYYY-MM-DD HH:MM:SS" with up to six decimals; a T may stand for the space. Days that no calendar
// has are refused, and so is anything before the epoch.
enum class Zone { local, utc };
std::optional<uint64_t> parse_clock(std::string_view text, Zone zone);

}  // namespace qomtool
