// Moving a screen from place to place: where a move starts, and the records that it applies.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/records.h"
#include "qom/screen.h"
#include "screen/snapshots.h"
#include "screen/state.h"

namespace qom {

// The picture of a checkpoint, uncompressed before the screen's own state is given up for it.
struct Ahead {
  size_t place = SIZE_MAX;  // where the move goes that wants it,
  size_t limit = 0;         // and the place before which its search for a checkpoint has come
  size_t index = SIZE_MAX;  // of the picture's record
  RecordPtr<QomRecord> record;
  std::unique_ptr<QomUncompression, UncompressionEnd> uncompression;
  RecordPtr<QomRecord> pixels;  // null until it is done
};

}  // namespace qom

struct QomScreen {
  QomReader *reader = nullptr;
  QomScreenOptions options = {};
  qom::State state;
  qom::Snapshots snapshots;
  size_t place = 0;      // records that are applied
  bool trusted = true;   // the picture is what was recorded
  bool is_lost = false;  // a move has failed where no state is left; the next one begins anew
  qom::RecordPtr<QomRecord> record;  // at `place`, while it is applied in part

  qom::Ahead ahead;

  uint64_t generation = 0;  // of the reader's answers that the screen relies on

  // The cursor while it is blended into the picture: what lies under it.
  std::unique_ptr<uint8_t[]> under;
  QomRectangle under_area = {};  // no width: it is not
};

namespace qom {

inline bool draws(uint8_t type) {
  return type == QOM_IMAGE || type == QOM_COMPRESSED_IMAGE || type == QOM_COMPRESSED_IMAGE_BLOCKS ||
         type == QOM_COPY_AREA;
}

// Brings the screen to the known state at or before `place` from which a move there leaves the
// least to apply: its own, a snapshot, a checkpoint, or the beginning. Paused: the picture of a
// checkpoint takes long; the screen is as it was.
QomScreenResult start_move(QomScreen *screen, size_t place, QomScreenStart *start);

// Applies the records from the screen's place up to `place`.
QomScreenResult run_to(QomScreen *screen, size_t place);

// Uncompresses the picture of a checkpoint of the records [first, end), for run_checkpoint(). The
// same call goes on after a pause. Failed with the reason.
Applied prepare_checkpoint(QomScreen *screen, size_t first, size_t end);

// Applies the records [first, end) of a checkpoint to a screen that was reset, without a pause and
// without passing over any. False with the reason.
bool run_checkpoint(QomScreen *screen, size_t first, size_t end);

// Saves a snapshot when one is due at a time, that of the last record. Returns as
// qom_screen_save().
int save_if_due(QomScreen *screen, uint64_t time);

}  // namespace qom
