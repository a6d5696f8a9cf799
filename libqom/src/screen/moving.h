// Moving a screen from place to place: where a move starts, and the records that it applies.
#pragma once

#include <cstddef>
#include <memory>

#include "base/records.h"
#include "qom/screen.h"
#include "screen/snapshots.h"
#include "screen/state.h"

struct QomScreen {
  QomReader *reader = nullptr;
  QomScreenOptions options = {};
  qom::State state;
  qom::Snapshots snapshots;
  size_t place = 0;      // records that are applied
  bool trusted = true;   // the picture is what was recorded
  bool is_lost = false;  // a move has failed where no state is left; the next one begins anew
  qom::RecordPtr<QomRecord> record;  // at `place`, while it is applied in part

  uint64_t generation = 0;  // of the reader's answers that the screen relies on

  // The cursor while it is blended into the picture: what lies under it.
  std::unique_ptr<uint8_t[]> under;
  QomRectangle under_area = {};  // no width: it is not
};

namespace qom {

inline bool draws(uint8_t type) {
  return type == QOM_IMAGE || type == QOM_COMPRESSED_IMAGE || type == QOM_COMPRESSED_IMAGE_BLOCKS;
}

// Brings the screen to the known state at or before `place` from which a move there leaves the
// least to apply: its own, a snapshot, a checkpoint, or the beginning.
QomScreenResult start_move(QomScreen *screen, size_t place, QomScreenStart *start);

// Applies the records from the screen's place up to `place`.
QomScreenResult run_to(QomScreen *screen, size_t place);

// Applies the records [first, end) of a checkpoint to a screen that was reset, without a pause and
// without passing over any. False with the reason.
bool run_checkpoint(QomScreen *screen, size_t first, size_t end);

// Saves a snapshot when one is due at a time, that of the last record. Returns as
// qom_screen_save().
int save_if_due(QomScreen *screen, uint64_t time);

}  // namespace qom
