// A second reader of recordings, written from docs/format.md alone: it shares no code and no
// header with the library. The tests compare the two.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace independent {

struct Record {
  int type;
  std::string fields;   // " at TIME FIELD..." in the words of the tests' describe()
  std::string decoded;  // hexadecimal digits of decompressed pixels or blocks; else empty
  uint64_t position;    // of the frame
  uint64_t length;      // of the frame
};

// A stretch that was not recorded.
struct Gap {
  std::string fields;
  size_t record;  // number of records before it
};

struct Recording {
  bool opens = false;
  std::string header;  // fields, as of a record
  std::vector<Record> records;
  std::vector<std::pair<size_t, size_t>> checkpoints;  // first record, and the one behind the last
  std::vector<Gap> gaps;
  bool index_agrees = true;  // every index frame says what the walk found
};

// Walks over all frames; what breaks a rule is left out.
Recording read(const std::vector<uint8_t> &file);

}  // namespace independent
