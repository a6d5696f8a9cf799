/*
 * qom/picture.h - pixels in memory: rectangles of a recording, and its cursor, in a picture.
 *
 * Conventions are those of qom.h. All coordinates have their origin at the top-left corner of the
 * picture.
 */
#ifndef QOM_PICTURE_H
#define QOM_PICTURE_H

#include "qom/qom.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Pixels in memory. */
typedef struct QomPicture {
  uint16_t width; /* pixels */
  uint16_t height;
  PixelFormat pixel_format;
  size_t stride;   /* bytes from a row to the next, a multiple of a pixel's */
  uint8_t *pixels; /* rows from the top, aligned as their pixels are */
} QomPicture;

/* Colours of a palette. */
#define QOM_PALETTE_SIZE 256u

/*
 * 1 when recordings in the format `from` can be shown in pictures of the format `to`: pixels with
 * alpha cannot, and a picture is RGB565, BGR565, xRGB8888 or xBGR8888.
 */
QOM_API int qom_picture_converts(PixelFormat from, PixelFormat to);

/*
 * Copies the rectangle `image` of a recording into the picture, clipped to it, converting every
 * pixel. Channels become narrower by truncation and wider by repetition of their leading bits; the
 * unused byte of a 32-bit pixel becomes 0, except where pixels are copied as they are.
 *
 * Of the image only width, height, x, y and data are read: its pixels have the format `from`, its
 * rows the padding `scanline_pad` (bits, stride_in_bytes(); rows of 32-bit pixels have none). The
 * formats are a pair that qom_picture_converts(). `palette` holds QOM_PALETTE_SIZE pixels of the
 * picture's format and is needed for PALETTE8 alone. Nothing is allocated, and no byte outside of
 * the clipped rectangle is written.
 */
QOM_API void qom_picture_merge(const QomPicture *picture, const QomImage *image, PixelFormat from,
                               uint8_t scanline_pad, const uint32_t *palette);

/*
 * Copies an area of the picture to another place in it, pixel by pixel as they are, also where the
 * two overlap. What of either place lies beside the picture is left out. Returns the area that was
 * written; all 0 when there is none.
 */
QOM_API QomRectangle qom_picture_copy(const QomPicture *picture, const QomCopy *copy);

/* The part of an image that lies in a picture; all 0 when it lies beside it. */
QOM_API QomRectangle qom_picture_clip(const QomPicture *picture, const QomImage *image);

/*
 * The colours of a header's palette as pixels of the format `to`, QOM_PALETTE_SIZE of them, those
 * beyond its size 0: of each channel of an entry the low 8 bits.
 */
QOM_API void qom_palette_pixels(const QomHeader *header, PixelFormat to, uint32_t *pixels);

/*
 * Writes the rectangle `area` of a picture (inside it) to the top-left corner of `blended`, with a
 * cursor over it whose image has its top-left corner at x, y, which may be anywhere. Both pictures
 * have one format of qom_picture_converts(), and `blended` at least the size of the area; it may be
 * the area of the picture itself. Each channel becomes cursor + (picture x (255 - alpha) + 127) /
 * 255, of which the low 8 bits count, in 8 bits: narrower channels are widened before and cut
 * afterwards. Under the cursor, bits that carry no colour become 0.
 */
QOM_API void qom_picture_blend(const QomPicture *picture, const QomCursorImage *cursor, int32_t x,
                               int32_t y, QomRectangle area, const QomPicture *blended);

/*
 * Writes a rectangle of a picture (inside it) as red, green and blue bytes, channels widened as
 * above. `rgb` has `stride` bytes, at least three a pixel, from a row to the next.
 */
QOM_API void qom_picture_rgb(const QomPicture *picture, QomRectangle area, uint8_t *rgb,
                             size_t stride);

#ifdef __cplusplus
}
#endif

#endif /* QOM_PICTURE_H */
