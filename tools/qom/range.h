// The part of a recording that --from and --to choose.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "recording.h"

namespace qomtool {

// One end of a range as it was written on the command line.
struct Bound {
  enum class Kind { index, elapsed, clock } kind;
  uint64_t value;  // a record's index, or microseconds since the start or since the epoch
};

// "#123" or "123" is an index; "12.5s", "2:03" and "1:02:03.5" are times since the start of the
// recording; "YYYY-MM-DD HH:MM:SS[.mmm]" is local wall clock. Nothing for anything else.
std::optional<Bound> parse_bound(const std::string &text);

// For the command line: an empty text for a good bound, otherwise what is wrong with it.
std::string check_bound(const std::string &text);

// Records from `begin` up to, not including, `end`.
struct Range {
  size_t begin;
  size_t end;
};

// The records from `from` to `to`, both included; an empty text means the first or the last
// record. Both must be good bounds. The range may be empty: when no record lies in it.
Range choose(const Recording &recording, const std::string &from, const std::string &to);

}  // namespace qomtool
