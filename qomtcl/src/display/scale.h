/*
 * display/scale.h - places and pixels of the frame, scaled.
 */
#ifndef QOMTCL_DISPLAY_SCALE_H
#define QOMTCL_DISPLAY_SCALE_H

#include "display/damage.h"
#include "view.h"

/* True while the picture is fitted to the window. The function and the record have the
   same name, which g++ takes for a mistake. */
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wshadow"
inline bool scaling(const QomView *view) {
  return view->scaling.on;
}
#pragma GCC diagnostic pop

/* The factor that fits the frame into the window, not limited to 1. */
double scaling_factor_calculate(const QomView *view);

/* Scales a frame rectangle into pixmap coordinates: each field rounded, halves away from
   zero, sizes at least 1. */
XRectangle rectangle_scale(XRectangle rectangle, double scale);

/* The scaled picture, pixmap and window coordinates. */
XRectangle rectangle_for_scaled_view(const QomView *view);

/* A factor as the step between source pixels in pixman's 16.16 fixed point: 1 / factor,
   truncated; the same for the frame and the cursor. */
pixman_fixed_t scaling_step(double factor);

/* How far from the middle of a scaled pixel its filter reads, pixels of the frame; `step` is the
   distance between the middles. */
double filter_reach(bool fine, double step);

/*
 * Every pixel of the scaled image that a change of `damage` (frame coordinates, inside
 * the frame) can change: what the filter reaches, cut to the scaled image.
 * Never smaller than what differs from scaling the whole frame anew.
 */
Box scaled_damage(const QomView *view, Box damage);

/*
 * Fills `part` of the image `to` with the image `from`, whose pixel `origin` comes to lie
 * at the corner of `to`, scaled by `factor`; both are of the
 * pixman format `format`, and `part` lies inside `to`. The pixels are the ones that
 * scaling all of `from` gives there. With pixman's bilinear filter they are zero beyond `from`.
 * `fine` takes the mean of what lies under a pixel when it shrinks, whole pixels where the factor
 * is a whole number, and between them the bilinear filter; beyond `from` its edge goes on. False
 * when memory is short.
 */
bool image_scale(pixman_format_code_t format, const XImage *from, XPoint origin, XImage *to,
                 double factor, bool fine, Box part);

/* Scales that part of the frame into scaling.ximage; pixel for pixel what scaling the
   whole frame gives there. The images must be set up. */
void ximage_scale(QomView *view, Box part);

/* The propagation step with scaling on: scales and uploads what the frame's damage can
   change. Does nothing when images or pixmap are missing. */
void pixmap_update_from_scaled_ximage(QomView *view);

#endif /* QOMTCL_DISPLAY_SCALE_H */
