// Moments of a recording as people write them on a command line.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "recording.h"

namespace qomtool {

struct Moment {
  enum class Kind {
    record,   // that of a record
    elapsed,  // so long after the first one
    day,      // when the clocks show a time of day
    clock,
  } kind;
  uint64_t value;  // a record's index; microseconds, since midnight or since the epoch
};

// "#123" is a record; "90", "90.5", "90s", "1:30", "1:02:03.5" and "1h2m3s" are times since the
// first moment, "@14:03:05" is a time of day, "YYYY-MM-DD HH:MM:SS" a date and clock, both in the
// local zone. Nothing for anything else, with the reason in *why.
std::optional<Moment> parse_moment(std::string_view text, std::string *why);

// For the command line: an empty text for a good moment, otherwise what is wrong with it.
std::string check_moment(const std::string &text);

// For the command line: the same for a length of time above 0.
std::string check_length(const std::string &text);

// A moment is that of a record which the recording does not have, in words without its name.
struct NoSuchRecord : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The time of a moment in a recording that is taken to begin at `first`: microseconds since the
// epoch, which may be outside of the recording. A time of day is its first occurrence not before
// `first`, unless that lies behind the last record and the one before is nearer. The recording has
// records. Throws NoSuchRecord.
uint64_t time_of(const Moment &moment, const Recording &recording, uint64_t first);

}  // namespace qomtool
