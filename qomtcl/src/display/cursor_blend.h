/*
 * display/cursor_blend.h - a cursor image laid over a picture, in memory alone.
 *
 * Colours are blended in 8 bits per channel. Narrower channels of the picture are widened
 * by repeating their leading bits and cut back afterwards, so that a transparent pixel
 * changes nothing. Nothing here asks the X server, and one format does not touch another.
 */
#ifndef QOMTCL_DISPLAY_CURSOR_BLEND_H
#define QOMTCL_DISPLAY_CURSOR_BLEND_H

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <qom/qom.h>

#include <cstdint>

/* One colour channel of a pixel: `bits` (4..8) bits from bit `shift` on. */
struct BlendChannel {
  unsigned shift;
  unsigned bits;
};

/* Where a picture's pixels keep their colours; every other bit is 0 after a blend. */
struct BlendFormat {
  BlendChannel red;
  BlendChannel green;
  BlendChannel blue;
};

/* The format of a TrueColor visual or of an XImage, from its masks. */
BlendFormat blend_format(unsigned long red_mask, unsigned long green_mask, unsigned long blue_mask);

/*
 * One pixel of a cursor image (alpha, red, green, blue from the most significant byte,
 * colours multiplied by alpha) over one of the picture: each channel is
 * cursor + (picture x (255 - alpha) + 127) / 255, of which the low 8 bits count.
 */
uint32_t blend_pixel(const BlendFormat &format, uint32_t cursor, uint32_t picture);

/*
 * Writes `area` of the picture (its coordinates, inside it) into the top-left corner of
 * `blended`, with the cursor image over it whose own top-left corner lies at x, y, which
 * may be anywhere. `blended` has the picture's layout and at least the size of the area.
 */
void blend_cursor(const XImage *picture, const QomCursorImage *cursor, int x, int y,
                  XRectangle area, XImage *blended);

#endif /* QOMTCL_DISPLAY_CURSOR_BLEND_H */
