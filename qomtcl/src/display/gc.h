/*
 * display/gc.h - the graphics contexts of a view.
 */
#ifndef QOMTCL_DISPLAY_GC_H
#define QOMTCL_DISPLAY_GC_H

#include "view.h"

/*
 * Makes the view's graphics contexts: `gc`, and `scaling.gc`, which fills the bands. False when
 * there is no memory for the first; the second is made by its next use then.
 */
bool gc_setup(QomView *view);

/* Frees both. May run twice. */
void gc_teardown(QomView *view);

/* The graphics context that fills the bands, made if it is missing; none when memory is short. */
GC gc_for_bands(QomView *view);

#endif /* QOMTCL_DISPLAY_GC_H */
