/*
 * playback/record_process.h - applying one record to the frame state.
 *
 * The frame state is the frame image with its damage region, the screen size, the
 * cursor and the footer items. Nothing here paints.
 */
#ifndef QOMTCL_PLAYBACK_RECORD_PROCESS_H
#define QOMTCL_PLAYBACK_RECORD_PROCESS_H

#include "playback/round.h"
#include "playback/screen_change.h"
#include "view.h"

/*
 * Applies a record, which stays the caller's. True when it was applied or is of a type
 * without effect; false when it could not be applied: its pixels do not decompress, a
 * block reaches past its data (the whole blocks before it stay applied), a screen size
 * is out of range, or memory is short.
 */
bool record_process(QomView *view, const QomRecord *record);

/* The same for a screen change that another one follows before anything needs the picture:
   screen_change_pass(). */
bool screen_change_record_pass(QomView *view, const QomScreenChange *change);

/*
 * The same for compressed blocks, of which there may be millions: from the byte *offset of the
 * uncompressed blocks on, until the round (none allowed) is long. *offset is 0 when all of
 * them are merged, and after a failure.
 */
bool blocks_record_process(QomView *view, const QomCompressedImageBlocks *record,
                           const Round *round, size_t *offset);

/* Converts an uncompressed image into the frame and adds its rectangle to the damage. */
void image_merge(QomView *view, const QomImage *image);

/* Merges every block of an uncompressed blocks record. Returns 0, or 1 at the first
   block that does not fit into the data; the blocks before it stay merged. */
int image_blocks_merge(QomView *view, const QomImageBlocks *blocks);

/* Sets the two footer items of a last-input record. */
void last_input_process(QomView *view, const QomLastInput *record);

#endif /* QOMTCL_PLAYBACK_RECORD_PROCESS_H */
