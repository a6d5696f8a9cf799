/*
 * display/viewport.h - the part of the frame that the window shows at natural size.
 */
#ifndef QOMTCL_DISPLAY_VIEWPORT_H
#define QOMTCL_DISPLAY_VIEWPORT_H

#include "view.h"

/* The subcommands xview and yview; objv is the whole command. Return a Tcl code. */
int cmd_xview(QomView *view, int objc, Tcl_Obj *const objv[]);
int cmd_yview(QomView *view, int objc, Tcl_Obj *const objv[]);

/* Set one coordinate of topleft, limited so that the window stays inside the frame;
   return whether it changed. x and y are not negative. */
bool viewport_topleft_x(QomView *view, int x);
bool viewport_topleft_y(QomView *view, int y);

/* Brings topleft back into range after the frame or the window changed its size; when
   that moves it, the scroll commands become due. Queues nothing: its callers repaint the
   whole window anyway. */
void viewport_clamp(QomView *view);

/* After the frame changed its size from the given one, pixels: as viewport_clamp(), and the
   scroll commands become due wherever the visible fractions differ. */
void viewport_frame_resized(QomView *view, uint16_t old_width, uint16_t old_height);

/*
 * The visible fractions of one axis as two new objects: six decimals for x, Tcl's shortest
 * text for y. `frame_width`, `frame_height`: of the frame, pixels; x, y: of topleft, inside
 * the frame.
 */
void xview_status_calculate(Tk_Window tkwin, uint16_t frame_width, int x, Tcl_Obj *fractions[2]);
void yview_status_calculate(Tk_Window tkwin, uint16_t frame_height, int y, Tcl_Obj *fractions[2]);

/* After a change of topleft: the visible part is copied anew, the scroll commands are
   due, and a display is queued. */
void viewport_changed(QomView *view);

/* The visible part of the frame, frame coordinates. */
XRectangle rectangle_from_viewport(const QomView *view);

/* Frame coordinate shown at the window's top-left corner: topleft at natural size,
   (0, 0) with scaling on, where the whole picture is in the window whatever the scroll
   position. */
XPoint viewport_origin(const QomView *view);

/* True when the scroll commands are due and the view is at natural size. */
bool scrollbars_need_update(const QomView *view);

/* Runs the scroll commands; the view may be dead afterwards, hold it with a ViewHold. */
void scrollbars_update(QomView *view);

/* An expose event's rectangle in pixmap coordinates. */
XRectangle rectangle_from_expose_event(const QomView *view, const XExposeEvent *event);

/* Marks the whole window exposed, so that the next display repaints all of it, also what
   lies beside the picture. */
void exposed_wants_all(QomView *view);

#endif /* QOMTCL_DISPLAY_VIEWPORT_H */
