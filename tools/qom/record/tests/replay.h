// Plays a recording record by record, in the plainest way, and knows the state it ends in.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "display.h"
#include "fixture.h"

struct Replay {
  // The state after all records from the one at `first` on, from nothing.
  explicit Replay(const std::string &path, size_t first = 0);

  Reader reader;
  const QomHeader &header;
  Screenshot frame;                  // pixels in the recording's format
  std::map<int, std::string> texts;  // by record type; the last input's two with a / between
  std::vector<int> types;            // of all records applied
  int cursor_x = 0;
  int cursor_y = 0;
  std::pair<int, int> hot_spot;     // of its image
  std::vector<uint32_t> cursor;     // pixels of its image
  std::vector<size_t> checkpoints;  // first records of all, the last one first

 private:
  void apply(const Record &record);
  void draw(const QomImage &image);
  void move(const QomCopy &copy);
  void draw_blocks(const QomImageBlocks &blocks);
};
