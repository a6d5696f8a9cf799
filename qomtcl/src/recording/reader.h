/*
 * recording/reader.h - opening a recording for a view.
 */
#ifndef QOMTCL_RECORDING_READER_H
#define QOMTCL_RECORDING_READER_H

#include "view.h"

/*
 * Opens `file` (native path, used during the call and by its messages only) and sets
 * reader, header, width, height and entries; copies the header's palette into the
 * process-wide one. On failure returns false with the interpreter's result and error
 * code set; where the bytes of the file are at fault the reason in words goes to
 * standard error.
 */
bool reader_setup(QomView *view, const char *file);

/* Closes the recording and clears what depends on it. May run twice. */
void reader_teardown(QomView *view);

/* Reads the record at `index`; the caller owns it (qom_record_free). None on failure. */
QomRecord *record_at_index(const QomView *view, size_t index);

#endif /* QOMTCL_RECORDING_READER_H */
