#include "playback/first_image.h"

#include <algorithm>

#include "handles.h"
#include "playback/keyframe.h"
#include "playback/navigation.h"
#include "playback/record_process.h"
#include "playback/record_run.h"
#include "recording/reader.h"
#include "recording/timeline.h"
#include "widget/callback.h"

namespace {

/* Cursor shapes that another one follows are read so many times; later ones are not: creation
   cannot pause, and they are never seen. */
constexpr size_t kPassedCursors = 16;

/* Bytes of pixels up to which a first image is applied without a pause. */
constexpr uint32_t kLargePicture = uint32_t{64} << 20;

bool is_first_image(uint8_t type) {
  return type == QOM_COMPRESSED_IMAGE || type == QOM_COMPRESSED_IMAGE_BLOCKS;
}

/* Index of the first image, or of the end of the recording before it. */
size_t search_end(const QomView *view) {
  const size_t length = index_length(view);
  size_t end = 0;
  while (end < length && !is_first_image(view->entries[end].type) &&
         view->entries[end].type != QOM_DONE)
    ++end;
  return end;
}

size_t last_cursor_before(const QomView *view, size_t end) {
  while (end > 0 && view->entries[end - 1].type != QOM_CURSOR_IMAGE) --end;
  return end == 0 ? 0 : end - 1;
}

bool record_is_unreadable(QomView *view) {
  Tcl_SetErrorCode(view->interp, "QOM", "FIRST", "FIND", nullptr);
  Tcl_SetObjResult(view->interp, Tcl_NewStringObj("failed to read record from file", -1));
  return false;
}

bool run(QomView *view, size_t first, size_t last, const Round *round) {
  size_t next = 0;
  view->creating.unreadable = false;
  if (records_run(view, first, last, round, &next) != RunResult::failed) return true;
  return view->creating.unreadable ? record_is_unreadable(view) : false;
}

/* Pictures that are no full ones, and places of the cursor, do not count before the first image. */
bool counts_later(uint8_t type) {
  return type == QOM_IMAGE || type == QOM_COPY_AREA || type == QOM_CURSOR_POSITION;
}

/* Everything that sets up state before the first image goes the usual way. */
bool state_setup(QomView *view, size_t end) {
  const size_t last_cursor = last_cursor_before(view, end);
  size_t cursors = 0;
  size_t from = 0;
  for (size_t i = 0; i < end; ++i) {
    const uint8_t type = view->entries[i].type;
    const bool is_passed =
        type == QOM_CURSOR_IMAGE && i < last_cursor && ++cursors > kPassedCursors;
    if (!is_passed && !counts_later(type)) continue;
    if (counts_later(type)) view->creating.passed_records = true;
    if (!run(view, from, i, nullptr)) return false;
    from = i + 1;
    qom_screen_set_place(view->screen, from);
  }
  return run(view, from, end, nullptr);
}

bool first_image_validate(QomView *view, const QomCompressedImage *image) {
  if (image->width == view->width && image->height == view->height) return true;
  Tcl_SetErrorCode(view->interp, "QOM", "IMAGE", "VALIDATE", nullptr);
  Tcl_SetObjResult(view->interp,
                   Tcl_ObjPrintf("first image has size %dx%d while view has size %dx%d",
                                 image->width, image->height, view->width, view->height));
  return false;
}

/* A large picture may take longer than a round; what is wrong with its pixels the move to frame 0
   tells then. */
bool first_image_apply(QomView *view, size_t index, const Round &round) {
  if (view->entries[index].type == QOM_COMPRESSED_IMAGE_BLOCKS)
    return run(view, index, index + 1, &round);
  const RecordHandle<QomRecord> record(record_at_index(view, index));
  if (!record) return record_is_unreadable(view);
  const auto *image = reinterpret_cast<const QomCompressedImage *>(record.get());
  if (image->length > kLargePicture)
    return first_image_validate(view, image) && run(view, index, index + 1, &round);
  if (!record_process(view, record.get()) || !first_image_validate(view, image)) return false;
  qom_screen_set_place(view->screen, index + 1);
  return true;
}

/* Offers the first key frame. What takes long, millions of blocks or the key frame of a large
   picture, is left to a move to frame 0. */
void first_image_settle(QomView *view, size_t index, const Round &round) {
  view->index_of_first_frame = index;
  const bool merged = view->progress.offset == 0;
  if (merged && !round.is_long()) return cache_update(view, view->entries[index].timestamp);
  view->progress.next = merged ? index + 1 : index;
  view->progress.to_first_image = true;
  going_start(view, 0);
}

bool recording_has_ended(QomView *view) {
  Tcl_SetErrorCode(view->interp, "QOM", "IMAGE", "FIRST", "FIND", nullptr);
  Tcl_SetObjResult(view->interp, Tcl_NewStringObj("failed to find a QOM_IMAGE record in file", -1));
  return false;
}

bool first_image_find(QomView *view) {
  const Round round;
  const size_t end = search_end(view);
  if (!state_setup(view, end)) return false;
  if (end == index_length(view)) {
    qom_screen_set_place(view->screen, 0);
    return true;
  }
  if (view->entries[end].type == QOM_DONE) return recording_has_ended(view);
  if (!first_image_apply(view, end, round)) return false;
  first_image_settle(view, end, round);
  return true;
}

}  // namespace

bool pipeline_find_first_image(QomView *view) {
  view->creating.on = true;
  const bool found = first_image_find(view);
  view->creating.on = false;
  if (found && view->creating.items > 0)
    view->first_notice = Tcl_CreateTimerHandler(0, footer_setup_frontend, view);
  return found;
}
