/*
 * display/pipeline.h - from the frame image over the pixmap to the window.
 */
#ifndef QOMTCL_DISPLAY_PIPELINE_H
#define QOMTCL_DISPLAY_PIPELINE_H

#include "view.h"

/*
 * Shows what changed; the client data is the QomView. An idle procedure that may also be
 * called directly, which cancels a queued one. Does nothing while the window is not
 * mapped; the damage is kept. Runs the scroll commands when they are due, so the view may
 * be dead when it returns: hold it with a ViewHold.
 */
void ViewDisplay(ClientData clientData) noexcept;

#endif /* QOMTCL_DISPLAY_PIPELINE_H */
