// Plays a recording record by record, in the plainest way, and knows the state it ends in.
#ifndef QOM_RECORD_TESTS_REPLAY_H
#define QOM_RECORD_TESTS_REPLAY_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "display.h"
#include "qom/qom.h"

struct Replayed {
  Screenshot frame;                  // pixels in the recording's format
  std::map<int, std::string> texts;  // by record type; the last input's two with a / between
  std::vector<int> types;            // of all records applied
  int cursor_x = 0;
  int cursor_y = 0;
  std::vector<uint32_t> cursor;  // pixels of its image
  std::vector<std::string> applications;
};

class Replay {
 public:
  explicit Replay(const std::string &path);
  ~Replay();
  Replay(const Replay &) = delete;
  Replay &operator=(const Replay &) = delete;

  const QomHeader &header() const { return *qom_info_header(reader_); }
  QomReaderInfo info() const;
  size_t length() const { return qom_reader_index_length(reader_); }
  // First records of all checkpoints.
  std::vector<size_t> checkpoints() const;
  // The state after the records [first, end), from nothing.
  Replayed play(size_t first, size_t end) const;
  Replayed play() const { return play(0, length()); }

 private:
  void apply(const QomRecord *record, Replayed &state) const;
  void draw(const QomImage &image, Replayed &state) const;

  QomReader *reader_;
};

#endif
