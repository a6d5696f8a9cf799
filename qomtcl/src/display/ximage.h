/*
 * display/ximage.h - client-side images and their way into the pixmap.
 */
#ifndef QOMTCL_DISPLAY_XIMAGE_H
#define QOMTCL_DISPLAY_XIMAGE_H

#include "view.h"

/* True when a frame of that size takes at most QOM_MAX_DATA bytes on the display. */
bool ximage_fits(Display *display, unsigned width, unsigned height);

/*
 * A zero-filled ZPixmap image of the default visual and depth of the display's default
 * screen; XDestroyImage() releases it with its pixels. Large images lie in memory shared
 * with the X server where the server is local and offers it. None when memory is short
 * or the image would have more than 1 GiB of pixels or a side of 0.
 */
XImage *ximage_allocate(Display *display, unsigned width, unsigned height);

/*
 * An image as ximage_allocate() makes them with the common part of `image` at its top left
 * and zeros elsewhere. Takes `image` over, whose memory it uses again where it can, since
 * new shared memory costs several times a copy of the pixels. None on failure; `image`
 * then stays the caller's and what it was.
 */
XImage *ximage_resize(Display *display, XImage *image, unsigned width, unsigned height);

/* A deep copy in memory of its own, released with XDestroyImage(); none when memory is
   short. */
XImage *ximage_duplicate(const XImage *image);

/* Makes the frame image of width x height and its empty region. On failure, also of a
   size that does not fit, false with error code and result set. */
bool ximage_setup(QomView *view);

/* Releases both. May run twice. */
void ximage_teardown(QomView *view);

/*
 * Copies a part of an image (from source_x, source_y on) into the pixmap at
 * `destination` (pixmap coordinates). What lies outside the image is left out. Does
 * nothing without a pixmap or an image. The image may be changed as soon as this returns.
 */
void pixmap_upload(QomView *view, XImage *image, int source_x, int source_y,
                   XRectangle destination);

#endif /* QOMTCL_DISPLAY_XIMAGE_H */
