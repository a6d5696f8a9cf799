/*
 * display/merge.h - copying a rectangle of a recording into the frame image, in the display's
 * pixel format.
 */
#ifndef QOMTCL_DISPLAY_MERGE_H
#define QOMTCL_DISPLAY_MERGE_H

#include <X11/Xlib.h>

#include <cstdint>

#include "display/palette.h"
#include "qom/picture.h"

/*
 * Copies the rectangle `from` into the frame image `to`, clipped to it, converting every
 * pixel. Both are given and do not overlap; nothing is allocated, and no byte outside the
 * clipped rectangle is written.
 *
 * Of `from` only width, height, x, y (pixels, frame coordinates) and data are read. Its
 * rows have the length that stride_in_bytes() gives for the width, the bits per pixel of
 * the format the function is named for and the process-wide `scanline_pad`; rows of
 * 32-bit pixels follow each other without padding. A part of the rectangle left of or above the
 * frame is passed over in the source too. Of `to` width, height, bytes_per_line, data
 * and, in functions that change channels, the masks are read.
 *
 * Channels become narrower by truncation and wider by bit replication. The byte of a
 * 32-bit pixel that carries no colour becomes 0, except where pixels are copied as they are.
 */
using MergeFunction = void (*)(const QomImage *from, XImage *to);

/*
 * The function that converts from the format of a recording into the format of a display;
 * null when there is none. A function named for one channel order also serves the pair
 * with both orders reversed, since it moves the same bits.
 */
MergeFunction merge_define(PixelFormat from, PixelFormat to);

/* Row padding of the 8-bit and 16-bit images that are merged next, in bits. Belongs to the
   process, so whoever merges sets it to that of its own recording's header first. */
extern std::uint8_t scanline_pad;

/* The pixels of an X image, which stay its own, as the library knows pictures. */
QomPicture picture_of_ximage(const XImage *image, PixelFormat format);

/*
 * The part of the rectangle `from` that lies in `to`, in frame coordinates. All four fields
 * are 0 when the two are apart; when they only touch, the width or the height is 0.
 */
XRectangle rectangle_from_image_intersection(const QomImage *from, const XImage *to);

void merge_P8_into_xRGB8888(const QomImage *from, XImage *to);
void merge_P8_into_xBGR8888(const QomImage *from, XImage *to);
void merge_RGB332_into_xRGB8888(const QomImage *from, XImage *to);
void merge_RGB332_into_xBGR8888(const QomImage *from, XImage *to);
void merge_BGR233_into_xRGB8888(const QomImage *from, XImage *to);
void merge_BGR233_into_xBGR8888(const QomImage *from, XImage *to);
void merge_RGB565_into_xRGB8888(const QomImage *from, XImage *to);
void merge_RGB565_into_xBGR8888(const QomImage *from, XImage *to);
void merge_BGR565_into_xRGB8888(const QomImage *from, XImage *to);
void merge_BGR565_into_xBGR8888(const QomImage *from, XImage *to);
void merge_RGB565_into_RGB565(const QomImage *from, XImage *to);
void merge_RGB565_into_BGR565(const QomImage *from, XImage *to);
void merge_xRGB8888_into_RGB565(const QomImage *from, XImage *to);
void merge_xRGB8888_into_BGR565(const QomImage *from, XImage *to);
void merge_xBGR8888_into_RGB565(const QomImage *from, XImage *to);
void merge_xBGR8888_into_BGR565(const QomImage *from, XImage *to);
/* Also writes the record with qom_record_dump() when it reaches past the right or lower
   edge of the frame image: a recording should not hold such a rectangle. */
void merge_xRGB8888_into_xRGB8888(const QomImage *from, XImage *to);
/* The function that does the same as a merge function and writes nothing: a record may hold
   millions of rectangles. */
MergeFunction merge_without_report(MergeFunction merge_function);
void merge_xRGB8888_into_xBGR8888(const QomImage *from, XImage *to);
void merge_RGBx8888_into_xRGB8888(const QomImage *from, XImage *to);
void merge_RGBx8888_into_xBGR8888(const QomImage *from, XImage *to);

#endif
