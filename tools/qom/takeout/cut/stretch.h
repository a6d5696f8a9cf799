// The stretch of a recording that is cut out, and what of the file belongs to it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "recording.h"

namespace qomtool {

// Why a recording cannot be cut, in words without its name.
struct CutError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct CutStretch {
  bool whole_start;  // begins with the recording itself, whatever its first moment is
  bool whole_end;
  uint64_t begin;  // microseconds
  uint64_t end;    // not before begin
  size_t first;    // the first record that is copied
  size_t stop;     // the one behind the last
};

// The moment that times are counted from: that of the first picture, or of the start.
uint64_t first_moment(const Recording &recording);

// "0:01:30.500 (2026-11-22 21:33:05.123)", for messages.
std::string describe_time(const Recording &recording, uint64_t time);

// The stretch from --from to --to, good moments or empty texts for the start and the end. Throws
// CutError when it holds nothing, and NoSuchRecord.
CutStretch choose_stretch(const Recording &recording, const std::string &from,
                          const std::string &to);

// Whether something is drawn before the end of the stretch.
bool has_picture(const Recording &recording, const CutStretch &stretch);

// Records [first, end) that restate everything.
struct CheckpointRun {
  size_t first;
  size_t end;
};

// The checkpoints that begin in a stretch, in file order.
std::vector<CheckpointRun> checkpoints_in(const Recording &recording, const CutStretch &stretch);

// The marks of what was not recorded that concern the stretch, in file order: those in it, and the
// last one before it that tells how the clock was set.
std::vector<QomGap> gaps_in(const Recording &recording, const CutStretch &stretch);

// The film that was held back in the stretch, in file order, as far as it lies in it.
std::vector<QomFilmArea> film_areas_in(const Recording &recording, const CutStretch &stretch);

// Bytes of a damaged recording that the index has no records of.
struct DamagedPlace {
  size_t record;  // the first one behind them
  uint64_t bytes;
};

// Those in front of the record `stop`, in file order. Of recordings in which damage was met when
// they were opened, all is read up to there; the others have none. Throws CutError.
std::vector<DamagedPlace> damaged_places(const Recording &recording, size_t stop);

}  // namespace qomtool
