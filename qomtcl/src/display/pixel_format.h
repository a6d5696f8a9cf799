/*
 * pixel_format.h - which pixel format a display has, and what pixman calls it.
 */
#ifndef QOMTCL_DISPLAY_PIXEL_FORMAT_H
#define QOMTCL_DISPLAY_PIXEL_FORMAT_H

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <pixman.h>

#include "qom/qom.h"

/*
 * The format of images of the display's default visual; FORMAT_UNKNOWN when Xlib does not
 * know the visual, when its class or masks are none of those below, or when the server
 * stores its pixels in another number of bits than the format has.
 */
PixelFormat pixel_format(Display *display);

/* The format of a visual of the depth in the name; FORMAT_UNKNOWN for a class or for
   masks that no format has. */
PixelFormat pixel_format_depth_8(const XVisualInfo *info);
PixelFormat pixel_format_depth_16(const XVisualInfo *info);
PixelFormat pixel_format_depth_24(const XVisualInfo *info);
PixelFormat pixel_format_depth_32(const XVisualInfo *info);

/* pixman's code for the same arrangement of channels; 0 for FORMAT_UNKNOWN and for values
   that are no format. */
pixman_format_code_t pixman_format_from_qom_format(PixelFormat code);

#endif
