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

/* Told of each record that the screen of a view (the context) applies: footer items, trace and
   messages follow it. */
void record_tell(void *context, QomScreenEvent event, size_t index,
                 const QomRecord *record) noexcept;

/* Converts an uncompressed image into the frame. */
void image_merge(QomView *view, const QomImage *image);

/* Sets the footer items of a record that sets some. */
void footer_record_process(QomView *view, const QomRecord *record);

/* Sets the two footer items of a last-input record. */
void last_input_process(QomView *view, const QomLastInput *record);

#endif /* QOMTCL_PLAYBACK_RECORD_PROCESS_H */
