/*
 * playback/record_process.h - applying one record to the frame state.
 *
 * The frame state is the frame image with its damage region, the screen size, the
 * cursor and the footer items. Nothing here paints.
 */
#ifndef QOMTCL_PLAYBACK_RECORD_PROCESS_H
#define QOMTCL_PLAYBACK_RECORD_PROCESS_H

#include <qom/screen.h>

#include "view.h"

/*
 * Applies a record, which stays the caller's. True when it was applied or is of a type
 * without effect; false when it could not be applied: its pixels do not decompress, a
 * block reaches past its data (the whole blocks before it stay applied), a screen size
 * is out of range, or memory is short.
 */
bool record_process(QomView *view, const QomRecord *record);

/*
 * Gives the frame a new size, 1..QOM_MAX_SIDE pixels on each side and
 * at most QOM_MAX_DATA bytes on the display; the common part of
 * the picture stays at the top left, the rest is zero. Asks Tk for the new size and for
 * a display. Returns 0, or 1 with the old size and picture in place when the size is
 * out of range or memory is short; also 1, with the new size and picture in place, when
 * only the pixmap could not be made, which the next display tries again.
 */
int screen_change_process(QomView *view, uint16_t new_width, uint16_t new_height);

/* Told of each record that the screen of a view (the context) applies: footer items, trace and
   messages follow it. */
void record_tell(void *context, QomScreenEvent event, size_t index,
                 const QomRecord *record) noexcept;

/* Converts an uncompressed image into the frame. */
void image_merge(QomView *view, const QomImage *image);

#endif /* QOMTCL_PLAYBACK_RECORD_PROCESS_H */
