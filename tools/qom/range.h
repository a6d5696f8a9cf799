// The records that --from and --to choose.
#pragma once

#include <cstddef>
#include <string>

#include "recording.h"

namespace qomtool {

// For the command line: an empty text for a good bound, otherwise what is wrong with it. A bound is
// a moment (moment.h) or a record's index without anything before it.
std::string check_bound(const std::string &text);

// Records from `begin` up to, not including, `end`.
struct Range {
  size_t begin;
  size_t end;
};

// The records from `from` to `to`, both included; an empty text means the first or the last
// record. Both must be good bounds; times are counted from the recording's start. The range may be
// empty: when no record lies in it.
Range choose(const Recording &recording, const std::string &from, const std::string &to);

}  // namespace qomtool
