/*
 * display/conversion.h - choosing how the recording's pixels become the display's.
 */
#ifndef QOMTCL_DISPLAY_CONVERSION_H
#define QOMTCL_DISPLAY_CONVERSION_H

#include "view.h"

/*
 * Chooses merge and scaling.pixman_format for the recording's format and the format of
 * the display of the interpreter's main window, and sets the process-wide row padding.
 * On failure false, with error code QOM SETUP CONVERSION and the result naming both.
 */
bool merge_setup(QomView *view);

/* Clears merge. May run twice. */
void merge_teardown(QomView *view);

#endif /* QOMTCL_DISPLAY_CONVERSION_H */
