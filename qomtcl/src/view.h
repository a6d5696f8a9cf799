/*
 * view.h - QomView, the one record of a view.
 *
 * Every widget made by ::qom::view has one QomView. It is made of one sub-record per
 * module; a module writes its own and reads the others. The record is plain: it is
 * allocated zero-filled with Tcl's allocator, zero is the empty state of every field
 * unless its comment says otherwise, and view_end() (widget/events.h) has it freed.
 *
 * Coordinate spaces
 *   frame   pixels of the recorded screen, 0..width x 0..height
 *   pixmap  pixels of the server-side pixmap: frame coordinates at natural size; with
 *           scaling on the pixmap has the window's size and the scaled picture lies
 *           in its top-left corner
 *   window  at natural size, pixmap coordinates minus `topleft`; with scaling on,
 *           pixmap coordinates
 *
 * Times are microseconds of the recording unless the comment says otherwise.
 *
 * How a view ends: its window is destroyed, its instance command is deleted, or its
 * creation fails. All three lead to view_end() (widget/events.h), which acts once. From
 * then on `tkwin` is none, and no timer and no display of the view is pending. Scripts that
 * the end itself runs, Destroy bindings and traces of the command, may still call the
 * command, which then serves what needs no window. The record lives until the last
 * Tcl_Release(). Code that runs a script therefore holds the view with a ViewHold
 * (view_hold.h), and when the script has returned leaves a view that is no longer alive
 * alone.
 */
#ifndef QOMTCL_VIEW_H
#define QOMTCL_VIEW_H

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <pixman.h>
#include <qom/qom.h>
#include <qom/screen.h>
#include <tcl.h>
#include <tk.h>

#include <cstddef>
#include <cstdint>

#include "display/merge.h"

/* Indexes of the footer items, in the order in which they are reported. */
enum index_footer_items : int {
  INDEX_FOOTER_APP = 0,
  INDEX_FOOTER_APPFMT = 1,
  INDEX_FOOTER_HOST = 2,
  INDEX_FOOTER_IP = 3,
  INDEX_FOOTER_LI_USER = 4,
  INDEX_FOOTER_LI_TFN = 5,
  INDEX_FOOTER_SID = 6,
  INDEX_FOOTER_TID = 7,
  FOOTER_ITEMS_COUNT = 8
};

/* Index of the record that last set each footer item; owned by playback/footer. */
struct footer_indexes {
  size_t app;
  size_t appfmt;
  size_t host;
  size_t ip;
  size_t last_input;
  size_t sid;
  size_t tid;
};

/* Where a cursor image lies on the frame when nothing is clipped: the pointer's
   position minus the hot spot, frame coordinates. */
struct cursor_corner {
  int32_t x;
  int32_t y;
};

/* Beside the key frames, which are the screen's snapshots; owned by playback/keyframe. */
struct keyframe_cache {
  bool has_first;                        /* a key frame was saved */
  uint64_t first_time;                   /* its time, microseconds, */
  char *first_texts[FOOTER_ITEMS_COUNT]; /* and its footer items, free(); none = no text */
  /* Times at which replaying saves key frames, as far as they were asked for, ascending, the
     first key frame's first; playback/told_replay fills it, C allocator. */
  uint64_t *told_times;
  size_t told_capacity; /* entries that it has room for */
  size_t told_size;     /* entries in use */
};

/* Rectangles of the cursor, clipped to the frame, frame coordinates. */
struct cursor_position {
  XRectangle previous; /* where it was last painted into the pixmap; all zero: nowhere yet */
  XRectangle current;  /* where it is; no width or height: outside the frame */
};

/* The remote cursor; owned by display/cursor. */
struct cursor_info {
  const QomCursorImage *record; /* the screen's; none before the first shape */
  cursor_position position;     /* where it is painted and where it is */
  XImage *ximage;               /* blended cursor, with scaling on with the frame around it,
                                   display's format, in the top-left corner; none before the
                                   first shape and after a failed allocation */
  cursor_corner corner;         /* of position.current before clipping; no meaning without record */
  bool changed;                 /* shape or corner differ from what was last painted */
};

/* Window size that the scaled images and the pixmap were made for, pixels. */
struct frontend {
  uint16_t width;
  uint16_t height;
};

/* Fitting the picture to the window; owned by display/scaling. */
struct scaling {
  bool on;   /* true at creation; false: natural size with scrolling */
  bool fine; /* shrinks by the mean of what lies under a pixel, and enlarges; off: the
                two nearest pixels, never larger than natural size */
  struct frontend frontend; /* size of `ximage` and of the pixmap while scaling is set up */
  double factor;            /* from frame to window, same for both axes; 0.0: torn down */
  XImage *ximage; /* scaled frame, frontend size; none: to be remade by the next display */
  XImage *cursor; /* scaled cursor (display/cursor); none: to be remade */
  pixman_format_code_t pixman_format; /* of the display's pixel format; set by merge_setup() */
  GC gc; /* fills the bands beside the picture; display/gc.h; none: made by its next use */
};

/* A move in progress; owned by playback/navigation. */
struct going {
  size_t target_frame;
  uint64_t moment;      /* to be shown behind the frame, microseconds; 0: the frame itself */
  bool frame_reached;   /* what is left is the way to the moment */
  Tcl_TimerToken token; /* the pending round; none: no move in progress */
};

/* Playing in real time; owned by playback/playing. */
struct playing {
  bool on;
  bool suspended;              /* turned off by a move, to resume when the move ends well */
  int32_t period;              /* wall time per frame, milliseconds */
  uint64_t period_in_us;       /* recording time per frame, microseconds; at most 1000000 */
  double speed;                /* recording time per wall time, 0.1..64 */
  Tcl_Time time_of_next_frame; /* wall time at which the prepared frame is shown */
  Tcl_TimerToken token;        /* the pending step; none: no step pending */
  Tcl_Time rested;             /* wall time at which the event loop last had time for itself */
  Tcl_Time painted;            /* wall time at which a frame was last painted */
  bool unpainted;              /* a frame was reported without being painted */
};

/* Widget options; owned by widget/instance. */
struct options {
  bool debug;        /* trace lines on standard output */
  bool verbose;      /* with debug: one trace line per record as well */
  uint8_t framerate; /* frames per second, 1..99; 10 at creation */
};

/* What the display pass under way has written into the pixmap; owned by display/pipeline. */
struct upload {
  XRectangle box; /* pixmap coordinates; the clean frame, without cursor, is there now. All
                     zero outside a pass and when the pass uploaded nothing */
};

/* How far the frame state has come, beside current_frame; owned by playback/stepping. */
struct progress {
  size_t next;         /* record with which a move goes on that paused within the frame
                          current_frame; 0 with `offset` 0: no record of that frame is applied */
  size_t offset;       /* bytes of the blocks of that record that are merged already */
  size_t texts;        /* the footer texts are those before this record already, and earlier
                          records leave them alone; 0: they are as far as the picture */
  size_t furthest;     /* the last frame reached so far */
  uint64_t moment;     /* that is shown behind the frame current_frame, microseconds; 0: the frame's
                          own time */
  bool to_first_image; /* frame 0 is shown as soon as the first full image is applied as well:
                          the records up to it are those of that frame */
};

/* What a move does at a record that cannot be read or applied; owned by
   playback/stepping. */
struct tolerance {
  bool on;              /* pass over it and go on; off: the move fails */
  uint64_t passed_over; /* records passed over so far, each counted as often as it was met */
  uint64_t last_time;   /* microseconds, of the last of them */
};

/* The search for the first image at creation; owned by playback/first_image. */
struct creating {
  bool on;
  bool unreadable;     /* a record could not be read */
  bool passed_records; /* some before it do not count for frame 0 */
  size_t items;        /* records of footer items met */
};

class Round;   /* playback/round.h */
struct Survey; /* survey/survey.h */

struct QomView {
  /* -- widget -- */
  Tcl_Interp *interp;    /* creating interpreter; whose end is also the view's */
  Tk_Window tkwin;       /* none once the view ends: it is dead then */
  Display *display;      /* of the window; Tk's */
  Tcl_Command widgetCmd; /* instance command; none before it exists and once it is deleted */

  /* -- recording -- */
  const char *file;            /* native path; the caller's, valid during creation only */
  QomReader *reader;           /* owned, qom_reader_close() */
  const QomHeader *header;     /* the reader's */
  QomIndexEntry *entries;      /* the reader's, qom_reader_index_length() of them */
  size_t index_of_first_frame; /* record of the first full image; 0 also without one */
  size_t current_frame;        /* frames applied so far, 0..number_of_frames */
  size_t number_of_frames;     /* at the frame rate of creation */

  /* -- frame state (playback) -- */
  QomScreen *screen;    /* turns records into the frame image, owned; playback/recorded_screen.h */
  QomCanvas canvas;     /* the frame image as the screen's memory */
  const Round *round;   /* the round of a move that runs; none: no pauses */
  size_t merged_blocks; /* of the record that is being applied */
  bool resized;         /* what shows the frame has not followed its size yet */
  struct creating creating;
  uint16_t width; /* recorded screen, pixels; never 0 once the reader is open */
  uint16_t height;
  char *footer_items[FOOTER_ITEMS_COUNT];       /* current texts, free(); none = no text */
  bool footer_item_changed[FOOTER_ITEMS_COUNT]; /* changed since last reported to the script */
  footer_indexes footer;
  keyframe_cache cache;
  MergeFunction merge;      /* recording's format into the display's; none: no conversion */
  PixelFormat pixel_format; /* the display's; set by merge_setup() */
  XImage *ximage;           /* the frame, width x height, display's format; no cursor in it */
  Region ximage_region; /* changed since the last display, frame coordinates, may reach outside */

  /* -- display -- */
  cursor_info cursor;
  struct scaling scaling;
  Pixmap pixmap;         /* picture with cursor; none: to be remade by the next display */
  Region pixmap_region;  /* to be copied to the window, pixmap coordinates; none with pixmap */
  Region exposed_region; /* reported exposed, pixmap coordinates; made at creation */
  XPoint topleft;        /* frame pixel at the window's top-left corner at natural size */
  char *xScrollCmd;      /* Tcl allocator; none = no command, never an empty text */
  char *yScrollCmd;
  bool update_scrollbars; /* the scroll commands are due at the next display at natural size */
  GC gc;                  /* uploads, copies and the first fill of a pixmap; display/gc.h */
  Tcl_IdleProc *show;     /* ViewDisplay(); display/redraw.h */
  bool redraw_pending;    /* it is queued as an idle call */

  /* -- moving and playing -- */
  struct going going;
  struct playing playing;
  struct progress progress;
  struct tolerance tolerance;

  /* -- beside it -- */
  Survey *survey; /* looks at the recording for itself; none before the view is made, and once it
                     has ended */

  /* -- script -- */
  Tcl_Obj *callback;  /* one reference is the view's; none = no callback */
  Tcl_Time next_tick; /* wall time of the next trace tick while playing; zero before the first */
  struct options option;

  /* -- kept beside: timers without another place, guards, the running display pass -- */
  bool destroying_view;        /* view_end() has begun */
  Tcl_TimerToken first_notice; /* footer_setup_frontend() after creation; none: not pending */
  Tcl_TimerToken tick;         /* debug_tick(); none: not pending */
  struct upload upload;
};

#endif /* QOMTCL_VIEW_H */
