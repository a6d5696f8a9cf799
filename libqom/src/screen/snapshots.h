// Snapshots of a screen in memory, from which moves start.
//
// They have a ceiling: a save that goes beyond drops every other one, never the first, and from
// then on snapshots lie twice as far apart; and again until they fit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/array.h"
#include "pixels/packed_picture.h"
#include "screen/state.h"

namespace qom {

struct Snapshot {
  size_t place;   // records that were applied
  uint64_t time;  // of the last of them, microseconds
  bool trusted;   // the picture is what was recorded
  uint16_t width;
  uint16_t height;
  PackedPicture *picture;
  Attributes attributes;
};

class Snapshots {
 public:
  Snapshots() = default;
  ~Snapshots();
  Snapshots(const Snapshots &) = delete;
  Snapshots &operator=(const Snapshots &) = delete;

  void setup(size_t ceiling, uint64_t spacing) {
    ceiling_ = ceiling;
    spacing_ = spacing;
  }

  // Whether none lies nearer to a time than the spacing.
  bool is_due(uint64_t time) const;

  // False with the reason when memory is short, which costs only time, or when the ceiling is below
  // one picture.
  bool save(const State &state, size_t place, uint64_t time, bool trusted);

  // The last one that holds at most `place` records; null when there is none.
  const Snapshot *before(size_t place) const;

  // Makes the state that of a snapshot. False with the reason when memory is short; the state is
  // then undefined, and wants a reset.
  static bool restore(const Snapshot &snapshot, State *state);

  void clear();
  void set_ceiling(size_t ceiling) { ceiling_ = ceiling; }
  size_t count() const { return all_.size(); }
  size_t bytes() const;  // of memory

 private:
  size_t behind(size_t place) const;
  void keep_plain(const QomPicture &picture, const Snapshot *snapshot);
  void drop_plain();
  void release(Snapshot *snapshot);
  void thin();

  Array<Snapshot *> all_;  // by place, ascending
  size_t ceiling_ = 0;
  uint64_t spacing_ = 0;
  size_t picture_bytes_ = 0;  // of all packed pictures, what they share once

  // The picture saved last as it was: the next one shares what is equal.
  std::unique_ptr<uint8_t[]> plain_;
  QomPicture plain_picture_ = {};
  const Snapshot *plain_of_ = nullptr;
};

}  // namespace qom
