// Plays a recording record by record, in the plainest way, and knows the state it ends in.
#ifndef QOM_RECORD_TESTS_REPLAY_H
#define QOM_RECORD_TESTS_REPLAY_H

#include <map>
#include <string>
#include <vector>

#include "display.h"
#include "fixture.h"

struct Replayed {
  Screenshot frame;                  // pixels in the recording's format
  std::map<int, std::string> texts;  // by record type; the last input's two with a / between
  std::vector<int> types;            // of all records applied
  int cursor_x = 0;
  int cursor_y = 0;
  std::vector<uint32_t> cursor;  // pixels of its image
};

class Replay {
 public:
  explicit Replay(const std::string &path);

  const QomHeader &header() const { return *qom_info_header(reader_.get()); }
  QomReaderInfo info() const;
  // From the start to the last record.
  double seconds() const;
  std::vector<QomGap> gaps() const;
  // First records of all checkpoints.
  std::vector<size_t> checkpoints() const;
  // The state after all records from this one on, from nothing.
  Replayed play(size_t first = 0) const;

 private:
  Reader reader_;
};

#endif
