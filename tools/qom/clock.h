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

// "2026-11-22T21:33:05.123456+01:00": the same, exact and with the zone's offset from UTC.
std::string exact_time(uint64_t time);

// Makes UTC the local time zone of this program.
void use_utc();

// "0:00:12.345": hours, minutes and seconds from `start` to `time`, cut to milliseconds; with a
// minus sign when `time` is the earlier one.
std::string elapsed_time(uint64_t start, uint64_t time);

// "12", "12.5", "0.000001": exact seconds without trailing zeros.
std::string seconds_text(uint64_t microseconds);

// The inverse: digits, and up to six more behind a point. Nothing when the text is anything else or
// the number is above QOM_MAX_TIME.
std::optional<uint64_t> parse_seconds(std::string_view text);

// A length of time: "90", "90.5", "90s", "2:03.5", "1:02:03.5", "1h2m3s", as microseconds.
std::optional<uint64_t> parse_elapsed(std::string_view text);

// "14:03", "14:03:05" with up to six decimals: microseconds since midnight.
std::optional<uint64_t> parse_time_of_day(std::string_view text);

// A date YYYY-MM-DD and a time of day, with blanks or a T between them. Days that no calendar has
// are refused, and so is anything before the epoch. A time that the clocks of the zone leave out is
// the one an hour on.
enum class Zone { local, utc };
std::optional<uint64_t> parse_clock(std::string_view text, Zone zone);

// When the clocks of the local time zone show a time of day (microseconds since midnight): the
// first time from `first` on; where that lies behind `last`, the last one before `first` if it is
// nearer.
uint64_t nearest_time_of_day(uint64_t time_of_day, uint64_t first, uint64_t last);

}  // namespace qomtool
