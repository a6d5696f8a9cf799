/*
 * qom/qom.h - the record model of a recording and its reader.
 *
 * A recording is a file of timestamped records that describe a graphical
 * screen session: full pictures, changed rectangles, the remote cursor, changes
 * of the screen size and short texts. A QomReader opens such a file, knows its
 * header and an index with one entry per record, and reads any record by its
 * index into memory that the caller owns.
 *
 * Conventions
 *   Times        unsigned 64-bit microseconds since the epoch.
 *   Coordinates  pixels of the recorded screen, origin at its top-left corner.
 *   Strings      NUL-terminated, owned by the record or header that holds them;
 *                a null pointer means that the text is absent.
 *   Integers     in the host's byte order.
 *   Ownership    every record returned by this library belongs to the caller,
 *                owns everything it points to, and is released exactly once with
 *                qom_record_free(). The header and the index belong to the reader.
 *   Errors       a function that can fail returns a null pointer or -1; errno is
 *                the system's error number when a system call failed and 0 when
 *                the bytes of the file are at fault; qom_reader_error() says why
 *                in words.
 *   Threads      a reader may be used by one thread at a time; different readers
 *                are independent.
 *
 * The layouts below are part of the binary interface: writer.h, the tests and
 * every program that embeds the library rely on the exact offsets.
 */
#ifndef QOM_QOM_H
#define QOM_QOM_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define QOM_API __attribute__((visibility("default")))
#else
#define QOM_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Version of the library's interface. */
#define QOM_VERSION_MAJOR 0
#define QOM_VERSION_MINOR 1
#define QOM_VERSION_PATCH 0

/* Limits that reader and writer enforce. */
#define QOM_MAX_SIDE 16384u              /* pixels, width or height of an image or a header */
#define QOM_MAX_CURSOR_SIDE 1024u        /* pixels, width or height of a cursor image */
#define QOM_MAX_DATA 268435456u          /* bytes of decoded pixels of one record: 256 MiB */
#define QOM_MAX_COPIES 65536u            /* areas of one record that are copied */
#define QOM_MAX_TEXT 1048576u            /* bytes of one text, terminator not counted: 1 MiB */
#define QOM_MAX_TIME (UINT64_C(1) << 62) /* microseconds, largest timestamp */

/* Kinds of records; a record stores the value in its 8-bit `type` field. */
typedef enum QomRecordType {
  QOM_DONE = 0,
  QOM_DEBUG = 1,
  QOM_HEADER = 2,
  QOM_IMAGE = 3,
  QOM_COMPRESSED_IMAGE = 4,
  QOM_CURSOR_IMAGE = 5,
  QOM_CURSOR_POSITION = 6,
  QOM_SCREEN_CHANGE = 7,
  QOM_LAST_INPUT = 8,
  QOM_FOOTER_ITEM_APP = 9,
  QOM_FOOTER_ITEM_HOST = 10,
  QOM_FOOTER_ITEM_IP = 11,
  QOM_FOOTER_ITEM_SID = 12,
  QOM_FOOTER_ITEM_TID = 13,
  QOM_IMAGE_BLOCKS = 14,
  QOM_COMPRESSED_IMAGE_BLOCKS = 15,
  QOM_FOOTER_ITEM_APPFMT = 16,
  QOM_COPY_AREA = 17, /* in recordings of format version 2 alone */
  QOM_TYPE_UNKNOWN = 255
} QomRecordType;

/*
 * Pixel formats. The name gives the channels from the most significant bit to
 * the least; x is a channel that carries no colour, A is alpha. A pixel is one
 * integer of 8, 16 or 32 bits in the host's byte order.
 */
typedef enum PixelFormat {
  FORMAT_UNKNOWN = 0,
  PALETTE8 = 1, /* index into the header's palette */
  RGB332 = 2,
  BGR233 = 3,
  RGB565 = 4,
  BGR565 = 5,
  xRGB8888 = 6,
  xBGR8888 = 7,
  RGBx8888 = 8,
  BGRx8888 = 9,
  ARGB8888 = 10,
  ABGR8888 = 11,
  RGBA8888 = 12,
  BGRA8888 = 13
} PixelFormat;

/* One palette entry, 8 bytes. */
typedef struct RgbValue {
  uint16_t red;
  uint16_t green;
  uint16_t blue;
  uint16_t pad; /* no meaning; kept as it is */
} RgbValue;

/* A rectangle of the screen or of a picture, pixels. */
typedef struct QomRectangle {
  int32_t x;
  int32_t y;
  int32_t width;
  int32_t height;
} QomRectangle;

/* The head that every record begins with, 16 bytes. */
typedef struct QomRecord {
  uint8_t type;       /* a QomRecordType */
  uint64_t timestamp; /* microseconds */
} QomRecord;

/* The recording's header, 64 bytes. */
typedef struct QomHeader {
  uint8_t type;       /* QOM_HEADER */
  uint8_t version;    /* major version of the file format: 1, or 2 with QOM_COPY_AREA */
  uint64_t timestamp; /* start of the recording, microseconds */
  uint8_t depth;      /* depth of the recorded screen, bits */
  uint16_t width;     /* screen size at the start, pixels, 1..QOM_MAX_SIDE */
  uint16_t height;
  PixelFormat pixel_format; /* of every image of the recording */
  uint8_t scanline_pad;     /* row padding of every image, bits: 0, 8, 16 or 32 */
  uint16_t palette_size;    /* entries; 0 when there is no palette */
  RgbValue *palette;        /* palette_size entries, or null */
  uint8_t min_keycode;
  uint8_t max_keycode;
  char *user;
  char *tfn;
} QomHeader;

/* An uncompressed image rectangle, 48 bytes. */
typedef struct QomImage {
  uint8_t type; /* QOM_IMAGE */
  uint64_t timestamp;
  uint16_t width; /* pixels, 1..QOM_MAX_SIDE */
  uint16_t height;
  int16_t x; /* top-left corner, screen coordinates */
  int16_t y;
  PixelFormat pixel_format; /* the header's */
  uint8_t scanline_pad;     /* the header's, bits */
  uint32_t bytes_per_line;  /* stride_in_bytes() of the width */
  uint32_t length;          /* bytes of data: bytes_per_line x height */
  uint8_t *data;            /* rows from the top */
} QomImage;

/* A compressed image rectangle, 48 bytes. */
typedef struct QomCompressedImage {
  uint8_t type; /* QOM_COMPRESSED_IMAGE */
  uint64_t timestamp;
  uint16_t width;
  uint16_t height;
  int16_t x;
  int16_t y;
  PixelFormat pixel_format;
  uint8_t scanline_pad;
  uint32_t length;            /* bytes after decompression */
  uint32_t compressed_length; /* bytes of data */
  uint8_t *data;              /* codec byte and compressed bytes, see docs/format.md */
} QomCompressedImage;

/* A new shape of the remote cursor, 48 bytes. */
typedef struct QomCursorImage {
  uint8_t type; /* QOM_CURSOR_IMAGE */
  uint64_t timestamp;
  uint16_t width; /* pixels, 1..QOM_MAX_CURSOR_SIDE */
  uint16_t height;
  int16_t x; /* where the hot spot is, screen coordinates */
  int16_t y;
  uint16_t xhot; /* hot spot within the image, at most width and height */
  uint16_t yhot;
  uint32_t cursor_serial;
  uint32_t length; /* bytes of data: width x height x 4 */
  uint8_t *data;   /* rows of 32-bit pixels: alpha, red, green, blue from the most
                      significant byte, colours already multiplied by alpha */
} QomCursorImage;

/* A new position of the remote cursor's hot spot, 24 bytes. */
typedef struct QomCursorPosition {
  uint8_t type; /* QOM_CURSOR_POSITION */
  uint64_t timestamp;
  int16_t x;
  int16_t y;
} QomCursorPosition;

/* A new screen size, 24 bytes. The values are passed on as they were recorded. */
typedef struct QomScreenChange {
  uint8_t type; /* QOM_SCREEN_CHANGE */
  uint64_t timestamp;
  uint16_t width;
  uint16_t height;
} QomScreenChange;

/* Texts of the last user input, 32 bytes. */
typedef struct QomLastInput {
  uint8_t type; /* QOM_LAST_INPUT */
  uint64_t timestamp;
  char *user;
  char *tfn;
} QomLastInput;

/* A new value of one of the six footer items, 24 bytes. */
typedef struct QomFooterItem {
  uint8_t type; /* one of QOM_FOOTER_ITEM_... */
  uint64_t timestamp;
  char *item;
} QomFooterItem;

/*
 * Several uncompressed image rectangles, 32 bytes. The data is a sequence of
 * blocks without gaps: x, y (signed 16-bit), width, height (unsigned 16-bit) and
 * stride_in_bytes(width) x height bytes of pixels in the header's format.
 */
typedef struct QomImageBlocks {
  uint8_t type; /* QOM_IMAGE_BLOCKS */
  uint64_t timestamp;
  uint32_t length; /* bytes of data */
  uint8_t *data;
} QomImageBlocks;

/* Several image rectangles compressed together, 32 bytes. */
typedef struct QomCompressedImageBlocks {
  uint8_t type; /* QOM_COMPRESSED_IMAGE_BLOCKS */
  uint64_t timestamp;
  uint32_t length;            /* bytes after decompression */
  uint32_t compressed_length; /* bytes of data */
  uint8_t *data;              /* codec byte and compressed bytes */
} QomCompressedImageBlocks;

/* What an area of the screen shows is shown at another place, too, 12 bytes. */
typedef struct QomCopy {
  int16_t x; /* top-left corner of the area, screen coordinates */
  int16_t y;
  uint16_t width; /* pixels, 1..QOM_MAX_SIDE */
  uint16_t height;
  int16_t to_x; /* top-left corner of the other place */
  int16_t to_y;
} QomCopy;

/*
 * Areas that are copied one after the other, 32 bytes. Each copies what the ones before it have
 * left, as it was before this one (areas may overlap their targets); a pixel is copied when the
 * screen has both its places. All targets together are at most QOM_MAX_DATA bytes of pixels.
 */
typedef struct QomCopyArea {
  uint8_t type; /* QOM_COPY_AREA */
  uint64_t timestamp;
  uint32_t count; /* 1..QOM_MAX_COPIES */
  QomCopy *copies;
} QomCopyArea;

/* Bits of QomIndexEntry.flags. */
#define QOM_ENTRY_TIME_RAISED 1u /* the file holds an earlier time than the entry */
#define QOM_ENTRY_LOSSY 2u       /* a record with lossy pixels, as its entry tells */

/*
 * One index entry per record, in file order, 24 bytes. The timestamps never
 * decrease: a time that goes back is raised to the one before it.
 */
typedef struct QomIndexEntry {
  int64_t position;   /* byte offset of the record's frame in the file */
  uint64_t timestamp; /* microseconds */
  uint8_t type;       /* a QomRecordType, never QOM_TYPE_UNKNOWN */
  uint8_t flags;      /* QOM_ENTRY_... */
  uint16_t area;      /* what qom_index_entry_area() decodes */
  uint32_t length;    /* bytes of the record's payload in the file */
} QomIndexEntry;

/*
 * Pixels that a picture record draws, as its entry tells: the bytes of its pixels over those of one
 * pixel, rounded down to twelve significant bits. Padding of rows counts as pixels, and so do the
 * eight bytes in front of each block. 0 for records that draw nothing, and in recordings of format
 * versions before 1.2.
 */
QOM_API uint64_t qom_index_entry_area(const QomIndexEntry *entry);

typedef struct QomReader QomReader;

/*
 * Functions of the caller that give the bytes of a recording. They are called by the thread that
 * uses the reader, and what they answer is not believed: answers that make no sense are read
 * errors (EIO).
 */
typedef struct QomSource {
  /* Size in bytes, or -1 with errno. Asked once, when the reader is opened. */
  int64_t (*size)(void *context);
  /* Puts `length` bytes from `offset` on into `bytes`. Returns how many, fewer only at the end; -1
     with errno. Is not called again for an interrupted call. */
  int64_t (*read)(void *context, uint64_t offset, void *bytes, size_t length);
  /* Called once, by qom_reader_close(), whose result it gives; may be null. */
  int (*close)(void *context);
  void *context;
} QomSource;

/*
 * Opens the recording at `path` and reads its header, from a copy of the file head
 * where the head itself is broken (QomReaderInfo tells); the index is built when it
 * is first asked for. Returns null on failure: errno is set when the file could
 * not be opened or read, and is 0 when it is not a recording. Only regular files
 * are opened. The caller releases the reader with qom_reader_close().
 */
QOM_API QomReader *qom_reader_open(const char *path);

/*
 * The same from functions of the caller, who keeps `source` itself; what its context points to is
 * in use until the reader is closed. Few large reads are made, since each may be a request over a
 * network. When the recording does not open, `close` is not called.
 */
QOM_API QomReader *qom_reader_open_source(const QomSource *source);

/* The same from memory, which is borrowed: it stays the caller's, and must stay as it is until
   the reader is closed. */
QOM_API QomReader *qom_reader_open_memory(const void *bytes, size_t length);

/* Closes the file and releases the reader, its header and its index. Null is
   ignored. Returns 0, or -1 with errno when closing the file failed. */
QOM_API int qom_reader_close(QomReader *reader);

/* The header; owned by the reader, valid until it is closed. */
QOM_API const QomHeader *qom_info_header(QomReader *reader);

/*
 * The index array; owned by the reader, valid until it is closed. Null when it
 * could not be read, or when the recording holds no record at all (then with
 * errno 0 and a length of 0).
 */
QOM_API QomIndexEntry *qom_reader_index(QomReader *reader);

/*
 * Number of index entries; 0 also when the index could not be read. Of a finished recording this,
 * records one by one, checkpoints and times are known without the whole index; should damage be
 * met later in a part of it, the number can change.
 */
QOM_API size_t qom_reader_index_length(QomReader *reader);

/*
 * Index of the first record whose time is not before `time` (microseconds); the
 * last index when every record is earlier, 0 when there are no records. Never
 * decreases as `time` grows.
 */
QOM_API size_t qom_index_at_time(QomReader *reader, uint64_t time);

/*
 * Reads and decodes the record at `index`. Compressed pixels stay compressed.
 * Returns null when the index is out of range, when the file cannot be read, or
 * when the bytes are not the ones that were written.
 */
QOM_API QomRecord *qom_record_at_index(QomReader *reader, size_t index);

/*
 * Finds the last whole checkpoint whose first record is at or before `index`.
 * A checkpoint is a run of records, [*first, *end), that restates the whole
 * state: screen size, full image, cursor, footer texts and last input. Returns 1
 * and sets both, or 0 and leaves them alone when there is none.
 */
QOM_API int qom_checkpoint_before(QomReader *reader, size_t index, size_t *first, size_t *end);

/* A deep copy that the caller owns; null when memory is short or the record is
   null or of an unknown type. */
QOM_API QomRecord *qom_record_dup(const void *record);

/* Releases a record of this library with everything it points to; null is ignored. */
QOM_API void qom_record_free(void *record);

/*
 * Decompresses into a new QomImage of the same geometry and time. Null when the
 * geometry and the lengths disagree, when the bytes do not decompress to exactly
 * `length` bytes, or when memory is short.
 */
QOM_API QomImage *qom_image_uncompress(const QomCompressedImage *compressed);

/* Decompresses into a new QomImageBlocks; null as above. */
QOM_API QomImageBlocks *qom_image_blocks_uncompress(const QomCompressedImageBlocks *compressed);

/*
 * The areas of the screen whose pixels a record of compressed pixels draws, and which are lossy:
 * near what was recorded, and not the same. Returns how many, and writes the first `room` of them;
 * 0 for records without any.
 */
QOM_API size_t qom_lossy_areas(const void *record, QomRectangle *areas, size_t room);

/*
 * Pixels that are decompressed part by part, for a program that has other things to do as well:
 * a few kilobytes of a file may hold a second's work.
 */
typedef struct QomUncompression QomUncompression;

/*
 * Begins to decompress a QomCompressedImage or QomCompressedImageBlocks, which has to stay until it
 * is done. Null as above. The caller ends it with qom_uncompression_end().
 */
QOM_API QomUncompression *qom_uncompression_begin(const void *compressed);

/*
 * Goes on for about so many bytes of pixels. Returns 0 while there is more to do; 1 when it is
 * done, and sets *pixels to the new QomImage or QomImageBlocks, the caller's; and -1 when they
 * cannot be had. After 1 and -1 it is not to be called again.
 */
QOM_API int qom_uncompression_go_on(QomUncompression *uncompression, size_t bytes,
                                    QomRecord **pixels);

/* Releases it, with pixels that are not yet the caller's; null is ignored. */
QOM_API void qom_uncompression_end(QomUncompression *uncompression);

/*
 * Steps through the rectangles of a blocks record. Set *offset (bytes into the
 * data) to 0 before the first call. Fills *image with the next rectangle: its
 * data points into `blocks`, its format and padding are the header's, its time
 * the record's. Returns 1 for a rectangle, 0 at the end, and -1 when the
 * rectangle at *offset has no pixels or does not fit into the data; *offset then
 * stays where it is.
 */
QOM_API int qom_image_blocks_next(const QomImageBlocks *blocks, const QomHeader *header,
                                  size_t *offset, QomImage *image);

/* Name of a record type as in QomRecordType; "QOM_TYPE_UNKNOWN" for other values. */
QOM_API const char *qom_record_type_to_string(QomRecordType type);

/* Writes one readable line for the record to standard output, and one more for
   each text it holds. */
QOM_API void qom_record_dump(const void *record);

/* Name of a pixel format as in PixelFormat; "FORMAT_UNKNOWN" for other values. */
QOM_API const char *pixel_format_string(PixelFormat format);

/* Bytes of one pixel: 1, 2 or 4; 0 for FORMAT_UNKNOWN and other values. */
QOM_API size_t pixel_format_bytes_per_pixel(PixelFormat format);

/*
 * Bytes of one row of `width` pixels, rounded up to a multiple of `scanline_pad`
 * bits. A padding of 0 counts as 8.
 */
QOM_API uint32_t stride_in_bytes(uint32_t width, uint8_t bits_per_pixel, uint8_t scanline_pad);

/* Why the last call of this library in this thread failed, in words without a
   trailing period; an empty text when nothing failed yet. */
QOM_API const char *qom_reader_error(void);

/* Why a stretch was not recorded. A later version of the library may know more. */
typedef enum QomGapReason {
  QOM_GAP_STOPPED = 1,   /* the recorder was stopped, or got no time to run */
  QOM_GAP_SUSPENDED = 2, /* the machine slept */
  QOM_GAP_LATE = 3,      /* the recorder waited for its disk or for what it records */
  QOM_GAP_CLOCK_SET = 4, /* somebody set the clock; the recording goes on by the old one */
  QOM_GAP_DAMAGED = 5    /* what was recorded could not be read any more, and was left out */
} QomGapReason;

/* A stretch of time in which the recorder did not record. */
typedef struct QomGap {
  uint64_t begin;       /* microseconds, as those of the records */
  uint64_t end;         /* not before begin */
  int64_t clock_offset; /* for QOM_GAP_CLOCK_SET: what has to be added to times from here on to have
                           those of the clock, microseconds; 0 otherwise */
  uint8_t reason;       /* a QomGapReason */
  size_t record;        /* number of records before it; the writer does not look at it */
} QomGap;

/*
 * The stretches that were not recorded, in file order; owned by the reader, valid until it is
 * closed. Sets *count. Null when there are none (then with errno 0), or when the index or the file
 * could not be read. It takes little more than building the index.
 */
QOM_API const QomGap *qom_reader_gaps(QomReader *reader, size_t *count);

/* A stretch of time in which an area that changed like film was stored less often than it changed,
   or with losses; at its end the picture is exact there again. */
typedef struct QomFilmArea {
  uint64_t begin; /* microseconds, as those of the records */
  uint64_t end;   /* not before begin */
  uint16_t x;     /* the area, pixels */
  uint16_t y;
  uint16_t width; /* at least 1, as the height */
  uint16_t height;
  uint32_t rate;   /* pictures in 1000 seconds that were stored at most; 0 for no limit */
  uint8_t quality; /* of the lossy codec, 1 to 100; 0: what was stored is exact */
  size_t record;   /* number of records before it; the writer does not look at it */
} QomFilmArea;

/*
 * The film that was held back, in file order; owned by the reader, valid until it is closed. Sets
 * *count. Null when there is none (then with errno 0), or when the index or the file could not be
 * read. It takes little more than building the index.
 */
QOM_API const QomFilmArea *qom_reader_film_areas(QomReader *reader, size_t *count);

/* What happened in one step of time; numbers that are too large stay at UINT32_MAX. Records of
   checkpoints count for nothing, since they only restate. */
typedef struct QomActivityStep {
  uint32_t bytes; /* of picture records in the file, with their frame heads */
  uint32_t area;  /* pixels drawn, the sum of qom_index_entry_area() */
  uint32_t input; /* records of the last input */
  uint32_t moves; /* cursor positions, also those that a recorder only repeats */
  uint32_t apps;  /* records that tell the application or its format */
} QomActivityStep;

/* What happened over the time of a recording, from its first record to its last. */
typedef struct QomActivity {
  uint64_t start; /* of the first step: the time of the first record, microseconds */
  uint64_t width; /* of a step, microseconds: the smallest that needs at most 4096 steps */
  size_t count;   /* steps; 0 when there are no records */
  const QomActivityStep *steps;
} QomActivity;

/*
 * Fills *activity; the steps belong to the reader and are valid until it is closed. A finished
 * recording holds them ready, of others they are counted from the index, which is built if need
 * be. Returns 0, or -1 when the index could not be read or memory is short.
 */
QOM_API int qom_reader_activity(QomReader *reader, QomActivity *activity);

/* Limits of origins. */
#define QOM_MAX_MASKS 1024u
#define QOM_MAX_NAME 4096u /* bytes of a file's name */

/* What a recording was cut out of. */
typedef struct QomOrigin {
  uint64_t begin;      /* of the stretch, microseconds */
  uint64_t end;        /* not before begin */
  uint64_t start;      /* of the original, from its header */
  uint64_t size;       /* bytes of the original */
  uint64_t lost;       /* places of the stretch where it could not be read */
  uint8_t untrusted;   /* 1: so damaged that what was on the screen at `begin` is not sure */
  uint8_t has_sha256;  /* 1: the hash of these bytes is known */
  uint8_t sha256[32];  /* otherwise 0 */
  char *name;          /* of the original's file, without its folder; null when not told */
  size_t mask_count;   /* rectangles that were made black in every picture, */
  QomRectangle *masks; /* inside 0 to 65536; null for none */
} QomOrigin;

/*
 * What the recording was cut out of, and before it what that was cut out of, the oldest first;
 * owned by the reader, valid until it is closed. Sets *count. Null when it is no cut (then with
 * errno 0), or when the index or the file could not be read.
 */
QOM_API const QomOrigin *qom_reader_origins(QomReader *reader, size_t *count);

/* How a recording was found when its index was built. */
typedef enum QomReaderState {
  QOM_STATE_FINISHED = 0,   /* the writer closed it and nothing looks wrong */
  QOM_STATE_UNFINISHED = 1, /* no end mark: still being written, or cut off */
  QOM_STATE_DAMAGED = 2     /* some bytes are not what was written */
} QomReaderState;

/* Its name in words: "finished", "unfinished", or "damaged". */
QOM_API const char *qom_reader_state_to_string(QomReaderState state);

typedef struct QomReaderInfo {
  QomReaderState state;
  uint8_t major_version; /* of the file format */
  uint8_t minor_version;
  uint8_t head_recovered; /* 1: the file head is broken and was read from one of its copies; its own
                            bytes are not among the damaged ones */
  uint64_t file_size;     /* bytes, when the index was built */
  uint64_t record_bytes;  /* bytes of all indexed records with their frames */
  uint64_t torn_bytes;    /* bytes of an incomplete record at the end; not damage */
  uint64_t damaged_bytes; /* bytes that belong to no valid frame */
  int64_t damaged_at;     /* offset of the first of them, -1 when there are none */
  uint64_t times_raised;  /* records whose time went back */
  uint64_t unknown_records; /* frames of unknown types met by the scan; passed over */
  size_t checkpoint_count;
  uint64_t checkpoint_bytes; /* bytes of the records of all checkpoints */
} QomReaderInfo;

/*
 * Fills *info; builds the index if need be. Returns 0, or -1 when the index could
 * not be read. It tells what opening the file had to look at, not whether every
 * record is sound: qom_reader_scan() looks at all of them.
 */
QOM_API int qom_reader_info(QomReader *reader, QomReaderInfo *info);

/* What qom_reader_scan() found at one place of the file. */
typedef enum QomScanKind {
  QOM_SCAN_RECORD = 0,     /* a record whose checksums are right */
  QOM_SCAN_DAMAGE = 1,     /* bytes that are not what was written */
  QOM_SCAN_UNKNOWN = 2,    /* a sound frame of a type this library does not know */
  QOM_SCAN_CHECKPOINT = 3, /* a sound checkpoint mark */
  QOM_SCAN_INDEX = 4,      /* a sound index block */
  QOM_SCAN_END = 5,        /* a sound end mark */
  QOM_SCAN_TORN = 6,       /* an incomplete frame at the end of the file */
  QOM_SCAN_HEAD = 7,       /* a sound copy of the file head */
  QOM_SCAN_GAP = 8,        /* a sound mark of a stretch that was not recorded */
  QOM_SCAN_OVERVIEW = 9,   /* a sound overview, which a closed recording has for fast opening */
  QOM_SCAN_ORIGIN = 10,    /* what the recording was cut out of, sound */
  QOM_SCAN_FILM_AREA = 11  /* a sound mark of film that was held back */
} QomScanKind;

typedef struct QomScanEvent {
  QomScanKind kind;
  int64_t position;        /* bytes from the start of the file */
  uint64_t length;         /* bytes, frame head included */
  const QomRecord *record; /* for QOM_SCAN_RECORD; lives until the visitor returns;
                              null when its payload breaks a rule of the format */
  uint64_t first;          /* for QOM_SCAN_CHECKPOINT: number of its first record, counted from
                              0 over the records that this scan has visited, */
  uint64_t count;          /* and how many records it has; 0 when some of them are missing */
  const char *reason;      /* for QOM_SCAN_DAMAGE and records without `record`: why */
  const QomGap *gap;       /* for QOM_SCAN_GAP; lives until the visitor returns; its records are
                              counted as in `first` */
  const QomFilmArea *film_area; /* the same for QOM_SCAN_FILM_AREA */
} QomScanEvent;

/*
 * Reads the whole file from the first frame on, without the index, and calls
 * `visit` for everything it finds, in file order; a broken file head is damage at
 * position 0. After damage it goes on at the
 * next sound frame. Stops when `visit` returns non-zero and returns that value;
 * otherwise 0, or -1 when the file cannot be read or memory is short.
 */
QOM_API int qom_reader_scan(QomReader *reader,
                            int (*visit)(void *context, const QomScanEvent *event), void *context);

#ifdef __cplusplus
}
#endif

#endif /* QOM_QOM_H */
