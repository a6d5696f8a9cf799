/*
 * display/shared_memory.h - image pixels in memory shared with the X server.
 */
#ifndef QOMTCL_DISPLAY_SHARED_MEMORY_H
#define QOMTCL_DISPLAY_SHARED_MEMORY_H

#include "view.h"

/*
 * Gives an image without pixels zero-filled ones in a new segment that the server has
 * attached; XDestroyImage() then releases the segment. False, with the image as it was,
 * when the server is on another machine, does not offer MIT-SHM or refuses the segment,
 * or when the system has none left.
 */
bool shared_pixels_allocate(Display *display, XImage *image);

/* True for an image whose pixels come from shared_pixels_allocate(). */
bool shared_pixels(const XImage *image);

/* Bytes that the pixels of such an image may take; 0 for any other image. */
size_t shared_pixels_room(const XImage *image);

/*
 * Copies a part of such an image into a drawable and waits until the server has read it.
 * Coordinates are pixels; the part lies inside the image.
 */
void shared_pixels_put(Display *display, Drawable drawable, GC gc, XImage *image, int source_x,
                       int source_y, int x, int y, unsigned width, unsigned height);

#endif /* QOMTCL_DISPLAY_SHARED_MEMORY_H */
