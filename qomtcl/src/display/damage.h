/*
 * display/damage.h - X regions and rectangles.
 *
 * An XRectangle has a signed 16-bit corner and unsigned 16-bit sizes; an X region holds
 * signed 16-bit corners, so nothing right of or below 32767 can be in one.
 */
#ifndef QOMTCL_DISPLAY_DAMAGE_H
#define QOMTCL_DISPLAY_DAMAGE_H

#include "view.h"

/* A rectangle by its corners, x2 and y2 exclusive. */
struct Box {
  int x1;
  int y1;
  int x2;
  int y2;
};

/* Adds a rectangle to a region, cut at the largest coordinate a region can hold; true
   when Xlib reports success. An empty rectangle adds nothing. A region that has become
   several hundred rectangles becomes their bounds, since the time to add one more grows with
   their number. */
bool region_touch(Region region, XRectangle rectangle);

/* Empties a region; none is ignored. */
void region_clear(Region region);

/* The bounding box of a region; all zero for an empty one. */
XRectangle region_bounds(Region region);

/* {x1, y1, x2 - x1, y2 - y1}, negative sizes as 0; corners are cut to -32768..32767. */
XRectangle rectangle_from_box(Box box);

/* The corners of a rectangle; nothing wraps. */
Box box_from_rectangle(XRectangle rectangle);

/* The common part; a box with x2 <= x1 or y2 <= y1 when there is none. */
Box box_intersect(Box a, Box b);

bool box_is_empty(Box box);

/* True when the two share at least one pixel. */
bool rectangles_overlap(XRectangle a, XRectangle b);

/* Marks the whole frame changed, so that the next display uploads all of it. */
void updates_want_all(QomView *view);

/* The smaller of two. */
uint16_t min_uint16(uint16_t a, uint16_t b);

/* True when the display pass under way has overwritten a part of this rectangle, pixmap
   coordinates, with the clean frame. */
bool upload_touches(const QomView *view, XRectangle rectangle);

#endif /* QOMTCL_DISPLAY_DAMAGE_H */
