/*
 * qom/screen.h - the recorded screen at a moment.
 *
 * A QomScreen turns the records of a recording into the picture that was on the screen, with its
 * cursor and its texts, at any place of the recording, forward and backward. It needs no display.
 *
 *   QomScreen *screen = qom_screen_open(reader, NULL);
 *   QomPicture picture;
 *   if (qom_screen_go_to_time(screen, time) == QOM_SCREEN_REACHED &&
 *       qom_screen_picture(screen, 1, &picture) == 0)
 *     ... picture.pixels ...
 *
 * Conventions are those of qom.h. A place in a recording is a number of records, counted from its
 * first one: at place n the first n records are applied. A screen begins at place 0: black, of the
 * size that the header states, without cursor and texts. Whichever way a screen came to a place, it
 * is the same there.
 *
 * A screen uses its reader, which must live longer and may be used by others between calls, in the
 * same thread. Different screens on different readers are independent.
 */
#ifndef QOM_SCREEN_H
#define QOM_SCREEN_H

#include "qom/picture.h"
#include "qom/qom.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct QomScreen QomScreen;

/* Stretch of time, microseconds: begin <= time < end. */
typedef struct QomStretch {
  uint64_t begin;
  uint64_t end; /* UINT64_MAX: to the end of the recording */
} QomStretch;

/* The texts of a screen. */
typedef enum QomScreenText {
  QOM_TEXT_APP = 0,
  QOM_TEXT_APPFMT = 1,
  QOM_TEXT_HOST = 2,
  QOM_TEXT_IP = 3,
  QOM_TEXT_USER = 4, /* of the last input */
  QOM_TEXT_TFN = 5,
  QOM_TEXT_SID = 6,
  QOM_TEXT_TID = 7,
  QOM_TEXT_COUNT = 8
} QomScreenText;

/* What a move came to. */
typedef enum QomScreenResult {
  QOM_SCREEN_FAILED = -1, /* stopped at a record that cannot be read or applied (a strict screen),
                             or memory is short; qom_reader_error() says why */
  QOM_SCREEN_REACHED = 0,
  QOM_SCREEN_PAUSED = 1 /* the pause function asked for it; the same call again goes on */
} QomScreenResult;

/* What a screen tells about the records that it applies. */
typedef enum QomScreenEvent {
  QOM_SCREEN_READING = 0,  /* a record is about to be read; `record` is null */
  QOM_SCREEN_APPLYING = 1, /* it was read */
  QOM_SCREEN_APPLIED = 2,
  QOM_SCREEN_UNREADABLE = 3, /* it could not be read; `record` is null */
  QOM_SCREEN_UNUSABLE = 4    /* it could not be applied */
} QomScreenEvent;

/* Memory for the picture of a screen, where the caller wants to have it in a place of its own. */
typedef struct QomCanvas {
  /*
   * Gives *picture, all zero at first, `width` x `height` pixels of its pixel_format, both above 0:
   * the common part of the two sizes stays at the top left, the rest is 0. Returns 0, or -1 with
   * *picture and its pixels as they were.
   */
  int (*resize)(void *context, uint16_t width, uint16_t height, QomPicture *picture);
  void *context;
} QomCanvas;

/* All zero: the usual choices. */
typedef struct QomScreenOptions {
  PixelFormat pixel_format; /* of the picture: RGB565, BGR565, xRGB8888 (usual) or xBGR8888 */
  int strict;               /* 1: a move stops at a record that cannot be read or applied; 0: it is
                               passed over, and what it leaves wrong is told of
                               (qom_screen_is_trusted) */
  size_t memory;            /* bytes that snapshots may take; 0: 64 MiB */
  uint64_t spacing;         /* microseconds of recording from a snapshot to the next at least, while
                               the memory lasts; 0: 20 seconds */
  int save_by_hand;         /* 1: snapshots are saved by qom_screen_save() alone */
  const QomCanvas *canvas;  /* null: memory of the screen's own */
  const uint32_t *palette;  /* for recordings in PALETTE8: 256 pixels of pixel_format, the caller's,
                               looked at when records are applied; null: the header's palette */
  /* Asked between two records, and within long ones: not 0 pauses the move. Null: no pauses. */
  int (*pause)(void *context);
  /* Told of each record that is applied, in order. Null: nobody. It must not use the screen. */
  void (*tell)(void *context, QomScreenEvent event, size_t index, const QomRecord *record);
  /* Draws a rectangle in place of qom_picture_merge(), whose arguments it then finds itself; the
     image is in the header's format and padding. Null: qom_picture_merge(). */
  void (*draw)(void *context, const QomImage *image, const QomPicture *picture);
  void *context; /* of pause, tell and draw */
} QomScreenOptions;

/*
 * A screen at place 0 of a recording; `options` may be null and is not needed afterwards, but for
 * what it points to. Null with the reason when the recording's pixels cannot be had in the format,
 * its screen is too large (QOM_MAX_DATA bytes in the format), or memory is short. Released with
 * qom_screen_close() before its reader is closed.
 */
QOM_API QomScreen *qom_screen_open(QomReader *reader, const QomScreenOptions *options);

/* Releases a screen; null is ignored. Memory of a canvas is its owner's. */
QOM_API void qom_screen_close(QomScreen *screen);

/* Number of records of the recording: the last place. */
QOM_API size_t qom_screen_length(QomScreen *screen);

/* Goes to a place, at most the last one. */
QOM_API QomScreenResult qom_screen_go(QomScreen *screen, size_t place);

/* Goes to the place of a time, microseconds: all records whose time is at or before it are
   applied. */
QOM_API QomScreenResult qom_screen_go_to_time(QomScreen *screen, uint64_t time);

/* The place where the screen is. During a pause within a record it is in front of this record. */
QOM_API size_t qom_screen_place(const QomScreen *screen);

/* The place of a time: the number of records whose time is at or before it. */
QOM_API size_t qom_screen_place_of_time(QomScreen *screen, uint64_t time);

/*
 * The picture, without the cursor or with the cursor blended in. *picture and its pixels are the
 * screen's and valid until the next call with this screen. Returns 0; -1 with the reason when
 * memory is short.
 */
QOM_API int qom_screen_picture(QomScreen *screen, int with_cursor, QomPicture *picture);

/* 1 where something was drawn, so that there is something to see; 0 before. */
QOM_API int qom_screen_has_picture(const QomScreen *screen);

/* The cursor's shape, and where the top-left corner of its image is, which may be beside the
   screen; null without a cursor. The screen's, valid until the next move. */
QOM_API const QomCursorImage *qom_screen_cursor(const QomScreen *screen, int32_t *x, int32_t *y);

/* A text; null when it was not set. The screen's, valid until the next move. */
QOM_API const char *qom_screen_text(const QomScreen *screen, QomScreenText text);

/*
 * The rectangles of the picture that changed since the last call, all of it at first, without the
 * cursor, inside the picture; some of their pixels may be as they were. Many small ones become
 * their bounds. Writes up to `room` of them, at least 1, and returns how many: those that do not
 * fit are their bounds in the last one.
 */
QOM_API size_t qom_screen_changes(QomScreen *screen, QomRectangle *rectangles, size_t room);

/*
 * The time of the first record after `time`, or of the last one before it, that draws something of
 * the picture, or of its rectangle `area` (null: all of it). Records of a checkpoint and others
 * that restate what is there do not count... Returns 1 and sets *found, 0 when there is none, -1
 * with the reason.
 */
QOM_API int qom_screen_next_change(QomScreen *screen, uint64_t time, const QomRectangle *area,
                                   uint64_t *found);
QOM_API int qom_screen_previous_change(QomScreen *screen, uint64_t time, const QomRectangle *area,
                                       uint64_t *found);

/*
 * Whether the picture is what was recorded: 0 from a record that is damaged or missing until a full
 * picture or a checkpoint restates all of it. Tells of what the screen has come past itself, and of
 * damage that the index knows.
 */
QOM_API int qom_screen_is_trusted(const QomScreen *screen);

/*
 * The stretches of time in which the picture is not to be trusted, by reading the whole file, in
 * order. `progress` (null allowed) is told how many bytes of the file have been read; not 0 ends
 * the search. Sets *count and *stretches, which the caller releases with free() (null for none).
 * Returns 0; -1 with the reason when the file cannot be read, memory is short, or `progress` ended
 * it.
 */
QOM_API int qom_screen_untrusted(QomReader *reader, int (*progress)(void *context, uint64_t bytes),
                                 void *context, QomStretch **stretches, size_t *count);

/* Rectangles of lossy pixels that a screen keeps apart at most. */
#define QOM_MAX_LOSSY_AREAS 64u

/*
 * The areas of the picture that are lossy: near what was on the screen, and not the same
 * (qom_lossy_areas() of a record). They come and go with the records, are carried along by copies,
 * and have no pixel in common; many small ones may become fewer that hold more. Writes the first
 * `room` of them and returns how many there are, at most QOM_MAX_LOSSY_AREAS; 0: the picture is
 * exact.
 */
QOM_API size_t qom_screen_lossy(const QomScreen *screen, QomRectangle *areas, size_t room);

/* How much of a recording is lossy. */
typedef struct QomLossyShare {
  uint64_t time;  /* microseconds during which the picture had lossy areas, */
  uint64_t whole; /* of as many in all, from the first record to the last */
  double area;    /* their mean share of the picture over the whole time, 0 to 1 */
  size_t records; /* with lossy pixels */
} QomLossyShare;

/*
 * Measures how much of a recording is lossy. It takes no more than the index where nothing is;
 * where something is, the records while it was on the screen are read. `progress` (null allowed) is
 * told how many bytes of the file have been gone by; not 0 ends it. Returns 0; -1 with the reason
 * when memory is short, the index cannot be read, or `progress` ended it.
 */
QOM_API int qom_screen_lossy_share(QomReader *reader,
                                   int (*progress)(void *context, uint64_t bytes), void *context,
                                   QomLossyShare *share);

/*
 * Step by step: for a player that goes by its own clock and tells its own story of a move.
 * qom_screen_go() is qom_screen_start() and then qom_screen_apply().
 */

/* Where a move starts. */
typedef enum QomStartKind {
  QOM_START_HERE = 0,       /* where the screen was */
  QOM_START_SNAPSHOT = 1,   /* from a snapshot */
  QOM_START_CHECKPOINT = 2, /* from a checkpoint of the recording, which was applied */
  QOM_START_BEGINNING = 3   /* from place 0 */
} QomStartKind;

typedef struct QomScreenStart {
  QomStartKind kind;
  uint64_t time; /* of the last record of a snapshot, microseconds */
  size_t first;  /* records of a checkpoint, [first, end) */
  size_t end;
} QomScreenStart;

/* Brings the screen to the known state at or before a place from which going there leaves the least
   to apply. Fills *start. A pause, while the picture of a checkpoint is uncompressed, leaves the
   screen as it was. */
QOM_API QomScreenResult qom_screen_start(QomScreen *screen, size_t place, QomScreenStart *start);

/* Applies the records from where the screen is up to a place; none when it is there or beyond. */
QOM_API QomScreenResult qom_screen_apply(QomScreen *screen, size_t place);

/* Declares the screen to be at a place, such as behind records that do not matter. */
QOM_API void qom_screen_set_place(QomScreen *screen, size_t place);

/* Applies a record that need not be one of the recording; the place stays. It stays the caller's.
   Returns 0, or -1 with the reason. */
QOM_API int qom_screen_take(QomScreen *screen, const QomRecord *record);

/* 1 during a pause within a record. */
QOM_API int qom_screen_is_within_record(const QomScreen *screen);

/* Saves a snapshot when none lies nearer than the spacing. Returns 1 when it was saved, 0 when none
   was due, -1 with the reason when memory is short. */
QOM_API int qom_screen_save(QomScreen *screen);

/* 1 when qom_screen_save() would save. */
QOM_API int qom_screen_save_is_due(const QomScreen *screen);

/* Number of snapshots, and the bytes of memory that they take. */
QOM_API size_t qom_screen_snapshots(const QomScreen *screen, size_t *bytes);

/* Changes an option of the screen: strict, and the memory of its snapshots (0: the usual). */
QOM_API void qom_screen_set_strict(QomScreen *screen, int strict);
QOM_API void qom_screen_set_memory(QomScreen *screen, size_t bytes);

#ifdef __cplusplus
}
#endif

#endif /* QOM_SCREEN_H */
