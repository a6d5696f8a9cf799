/*
 * palette.h - the colour table of 8-bit palette recordings.
 *
 * The table belongs to the process, not to a view: the last view created decides the
 * colours of all of them. No colour is allocated from the X server.
 */
#ifndef QOMTCL_DISPLAY_PALETTE_H
#define QOMTCL_DISPLAY_PALETTE_H

#include <X11/Xlib.h>

#include <cstddef>
#include <cstdint>

#include "qom/qom.h"

inline constexpr std::size_t palette_capacity = 256;

/* Entry i has pixel value i, 16-bit red, green and blue and the flags DoRed, DoGreen and
   DoBlue once a recording has set it, and is all zero before. Written by palette_set(). */
extern const XColor (&palette)[palette_capacity];

/* Entries that the last recording with a palette has set, at most palette_capacity. */
extern const std::size_t &palette_size;

/*
 * Takes over the palette of a recording. Entries beyond its size keep what they were, and
 * those from palette_capacity on are dropped; a header without a palette changes nothing.
 * The header stays the caller's.
 */
void palette_set(const QomHeader *header);

/*
 * The 256 colours as ready pixels of a display format, xRGB8888 or xBGR8888: the low
 * 8 bits of each channel, the top byte 0. They follow palette_set() and live as long as
 * the process. `to` is one of the two formats.
 */
const std::uint32_t *palette_pixels(PixelFormat to);

#endif
