/*
 * display/region_size.h - how many rectangles a region is made of.
 */
#ifndef QOMTCL_DISPLAY_REGION_SIZE_H
#define QOMTCL_DISPLAY_REGION_SIZE_H

#include <X11/Xlib.h>
#include <X11/Xutil.h>

long region_size(Region region);

#endif /* QOMTCL_DISPLAY_REGION_SIZE_H */
