#include "playback/first_image.h"

#include "display/cursor.h"
#include "handles.h"
#include "playback/footer.h"
#include "playback/keyframe.h"
#include "playback/navigation.h"
#include "playback/record_process.h"
#include "recording/reader.h"
#include "recording/timeline.h"

namespace {

struct Search {
  Round round;
  bool done = false;         /* a first image was applied */
  bool failed = false;       /* the view cannot be made */
  size_t nitems = 0;         /* footer items met */
  size_t end = 0;            /* index of the first image, or behind the last record */
  size_t last_cursor = 0;    /* index of the last cursor shape before `end` */
  size_t last_screen = 0;    /* and of the last screen change */
  uint64_t cursor_bytes = 0; /* bytes of the cursor shapes read so far */
};

/* Beyond this, shapes that another one follows are not even read: creation cannot pause. */
constexpr uint64_t kMaxCursorBytes = uint64_t{64} << 20;

Search search_begin(const QomView *view) {
  Search search;
  const size_t length = index_length(view);
  for (; search.end < length; ++search.end) {
    const uint8_t type = view->entries[search.end].type;
    if (type == QOM_COMPRESSED_IMAGE || type == QOM_COMPRESSED_IMAGE_BLOCKS) break;
    if (type == QOM_CURSOR_IMAGE) search.last_cursor = search.end;
    if (type == QOM_SCREEN_CHANGE) search.last_screen = search.end;
  }
  return search;
}

/* Shapes before the last one are never seen. */
bool cursor_is_passed(const Search &search, size_t index, uint8_t type) {
  return type == QOM_CURSOR_IMAGE && index < search.last_cursor;
}

bool screen_setup(QomView *view, const Search &search, size_t index, const QomRecord *record) {
  if (index < search.last_screen)
    return screen_change_record_pass(view, reinterpret_cast<const QomScreenChange *>(record));
  return record_process(view, record) && screen_change_settle(view) == 0;
}

bool cursor_setup(QomView *view, Search *search, size_t index, const QomRecord *record) {
  search->cursor_bytes += reinterpret_cast<const QomCursorImage *>(record)->length;
  return cursor_is_passed(*search, index, record->type) || record_process(view, record);
}

bool first_image_validate(QomView *view, const QomImage *image) {
  if (image->width == view->width && image->height == view->height) return true;
  Tcl_SetErrorCode(view->interp, "QOM", "IMAGE", "VALIDATE", nullptr);
  Tcl_SetObjResult(view->interp,
                   Tcl_ObjPrintf("first image has size %dx%d while view has size %dx%d",
                                 image->width, image->height, view->width, view->height));
  return false;
}

bool first_image_apply(QomView *view, const QomCompressedImage *compressed) {
  const RecordHandle<QomImage> image(qom_image_uncompress(compressed));
  if (!image || !first_image_validate(view, image.get())) return false;
  image_merge(view, image.get());
  return true;
}

/* Offers the first key frame. What takes long, millions of blocks or the key frame of a large
   picture, is left to a move to frame 0. */
void first_image_settle(QomView *view, Search *search, size_t index, bool applied) {
  search->done = applied;
  search->failed = !applied;
  if (!applied) return;
  view->index_of_first_frame = index;
  const bool merged = view->progress.offset == 0;
  if (merged && !search->round.is_long()) return cache_update(view, view->entries[index].timestamp);
  view->progress.next = merged ? index + 1 : index;
  view->progress.to_first_image = true;
  going_start(view, 0);
}

void first_image_setup(QomView *view, Search *search, size_t index, const QomRecord *record) {
  const auto *compressed = reinterpret_cast<const QomCompressedImage *>(record);
  first_image_settle(view, search, index, first_image_apply(view, compressed));
}

void first_image_blocks_setup(QomView *view, Search *search, size_t index,
                              const QomRecord *record) {
  const auto *compressed = reinterpret_cast<const QomCompressedImageBlocks *>(record);
  const bool applied =
      blocks_record_process(view, compressed, &search->round, &view->progress.offset);
  first_image_settle(view, search, index, applied);
}

void recording_has_ended(QomView *view, Search *search) {
  Tcl_SetErrorCode(view->interp, "QOM", "IMAGE", "FIRST", "FIND", nullptr);
  Tcl_SetObjResult(view->interp, Tcl_NewStringObj("failed to find a QOM_IMAGE record in file", -1));
  search->failed = true;
}

/* Everything that sets up state before the first image goes the usual way; a text of
   the last input, and pictures that are no full ones, do not count yet. */
void first_image_visit(QomView *view, Search *search, size_t index, const QomRecord *record) {
  switch (record->type) {
    case QOM_DONE:
      return recording_has_ended(view, search);
    case QOM_COMPRESSED_IMAGE:
      return first_image_setup(view, search, index, record);
    case QOM_COMPRESSED_IMAGE_BLOCKS:
      return first_image_blocks_setup(view, search, index, record);
    case QOM_FOOTER_ITEM_APP:
    case QOM_FOOTER_ITEM_APPFMT:
    case QOM_FOOTER_ITEM_HOST:
    case QOM_FOOTER_ITEM_IP:
    case QOM_FOOTER_ITEM_SID:
    case QOM_FOOTER_ITEM_TID:
      ++search->nitems;
      search->failed = !record_process(view, record);
      return;
    case QOM_CURSOR_IMAGE:
      search->failed = !cursor_setup(view, search, index, record);
      return;
    case QOM_SCREEN_CHANGE:
      search->failed = !screen_setup(view, *search, index, record);
      return;
    default:
      return;
  }
}

bool record_is_unreadable(QomView *view) {
  Tcl_SetErrorCode(view->interp, "QOM", "FIRST", "FIND", nullptr);
  Tcl_SetObjResult(view->interp, Tcl_NewStringObj("failed to read record from file", -1));
  return false;
}

}  // namespace

bool pipeline_find_first_image(QomView *view) {
  Search search = search_begin(view);
  const size_t length = index_length(view);
  for (size_t i = 0; i < length && !search.failed && !search.done; ++i) {
    if (cursor_is_passed(search, i, view->entries[i].type) && search.cursor_bytes > kMaxCursorBytes)
      continue;
    const RecordHandle<QomRecord> record(record_at_index(view, i));
    if (!record) return record_is_unreadable(view);
    first_image_visit(view, &search, i, record.get());
  }
  if (!search.failed && search.nitems > 0)
    view->first_notice = Tcl_CreateTimerHandler(0, footer_setup_frontend, view);
  return !search.failed;
}
