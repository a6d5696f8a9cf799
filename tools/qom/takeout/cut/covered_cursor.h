// The cursor beside masks: hidden wherever a part of it, or the place it points to, lies in one.
#pragma once

#include "masks.h"
#include "records.h"

namespace qomtool {

// Follows the records of the cursor and says what is written in place of each. While the cursor is
// hidden the records hold an empty shape far beside the screen, so that neither its place nor its
// shape can be read and every reader shows none; the first record after that holds both again.
class CoveredCursor {
 public:
  explicit CoveredCursor(const Masks &masks) : masks_(masks) {}

  // A record of the same time; records of other types are given back as they are. Throws
  // std::bad_alloc.
  RecordPtr covered(RecordPtr record);

 private:
  bool is_over_mask(int16_t x, int16_t y) const;
  RecordPtr moved(RecordPtr record);
  RecordPtr shaped(RecordPtr record);

  const Masks &masks_;
  RecordPtr shape_;  // the recording's, null before the first one
  bool hidden_ = false;
};

}  // namespace qomtool
