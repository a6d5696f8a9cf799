/*
 * qom/writer.h - writing recordings.
 *
 * A writer appends records to a new file and never changes a byte that it has
 * written. Every appended record reaches the kernel before the call returns, so a
 * process that is killed loses nothing; about once a second, and at each flush, the
 * bytes are forced to the disk (but see qom_writer_flush_apart()). A file can be opened
 * by readers at any moment.
 *
 * The first write or sync that fails is final: that call and every later one
 * return -1 with its errno, and the file still opens with the records that were
 * written whole. qom_reader_error() gives the reason in words.
 */
#ifndef QOM_WRITER_H
#define QOM_WRITER_H

#include "qom/qom.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct QomWriter QomWriter;

/*
 * Creates the file `path`, which must not exist, and writes the header. Nobody but
 * its owner may read or write the file (mode 0600, less what the umask takes away):
 * it holds what was on a screen. `header`
 * stays the caller's and its `type` is not read. With a `version` of 2 the recording may hold
 * QOM_COPY_AREA records, and libraries that do not know them refuse it; any other makes one of
 * version 1. Returns null with errno on failure and leaves no file behind; EINVAL for a header that
 * no reader would accept, EEXIST when the file exists.
 */
QOM_API QomWriter *qom_writer_create(const char *path, const QomHeader *header);

/*
 * Appends one typed record; the caller keeps it. What is appended is exactly what
 * a reader gives back. Returns 0, or -1 with errno. EINVAL, with nothing written,
 * when the timestamp lies below the last one (or below the header's), or above
 * QOM_MAX_TIME, when sizes, lengths or formats disagree with each other or with
 * the header, or when a limit of qom.h is exceeded; the writer can then go on.
 */
QOM_API int qom_writer_append(QomWriter *writer, const void *record);

/*
 * Appends a mark of a stretch that was not recorded, behind the records of the time before it; the
 * caller keeps `gap`. Returns 0, or -1 with errno. EINVAL, with nothing written, when it ends
 * before it begins or above QOM_MAX_TIME, has no reason, or a checkpoint is open.
 */
QOM_API int qom_writer_gap(QomWriter *writer, const QomGap *gap);

/*
 * Appends a mark of film that was held back, or stored with losses, up to about now; the caller
 * keeps `film`. Returns 0, or -1 with errno. EINVAL, with nothing written, when it ends before it
 * begins or above QOM_MAX_TIME, has an empty area or one beyond QOM_MAX_SIDE, a quality above 100,
 * or a checkpoint is open.
 */
QOM_API int qom_writer_film_area(QomWriter *writer, const QomFilmArea *film);

/*
 * Says what the recording was cut out of, behind its last record, where alone readers look for it;
 * several from the oldest on. The caller keeps `origin`. Returns 0, or -1 with errno. EINVAL, with
 * nothing written, for times, texts and masks beyond their limits, or while a checkpoint is open.
 */
QOM_API int qom_writer_origin(QomWriter *writer, const QomOrigin *origin);

/* Bytes of the file so far. */
QOM_API uint64_t qom_writer_size(const QomWriter *writer);

/* Forces everything appended so far to the disk. Returns 0, after which no crash
   of the process or the machine loses it, or -1 with errno. */
QOM_API int qom_writer_flush(QomWriter *writer);

/*
 * For programs that must not wait for the disk: from this call on appending forces
 * nothing to the disk, only flush and close do, and flush may be called by another
 * thread beside every other call but close, by one thread at a time. It then answers
 * for what was appended before it began. A flush that fails is final for the other
 * calls too; the words of its reason are those of the thread that called it.
 */
QOM_API void qom_writer_flush_apart(QomWriter *writer);

/*
 * The records appended between these two calls are a checkpoint: they restate the
 * whole state at their time, so that a reader may start from them. begin returns
 * -1 with EINVAL when a checkpoint is open already. end returns -1 with EINVAL
 * when none is open or when the run is not whole: a screen change, a full
 * compressed image of that size at (0, 0), the cursor image and each footer text
 * and the last input that were ever set; the records stay ordinary ones then.
 */
QOM_API int qom_writer_begin_checkpoint(QomWriter *writer);
QOM_API int qom_writer_end_checkpoint(QomWriter *writer);

/*
 * Writes the overview, the index and the end mark, forces everything to the disk, closes the
 * file and releases the writer, also when it fails. Returns 0, or -1 with errno.
 * Null is ignored.
 */
QOM_API int qom_writer_close(QomWriter *writer);

/* Compresses an image; null when it is malformed (EINVAL) or memory is short.
   The caller keeps the image and owns the result. */
QOM_API QomCompressedImage *qom_image_compress(const QomImage *image);

/* Compresses image blocks together; null as above. */
QOM_API QomCompressedImageBlocks *qom_image_blocks_compress(const QomImageBlocks *blocks);

/*
 * Lossy pixels: for areas that look like a film. Their decoded pixels are near those that were
 * given, and the same wherever they are decoded; who goes on from what a viewer sees has to
 * decompress what was compressed. What comes from them is marked (qom_lossy_areas()), and what
 * restates it has to restate the marks. Readers that do not know them refuse these records.
 *
 * The quality is 1 to 100; 75 is usual for films. Formats that are not xRGB8888, xBGR8888, RGBx8888
 * or BGRx8888, and blocks so small that nothing is saved, are stored exactly and not marked.
 */

/* 1 where this library can make and read lossy pixels; 0 where it was built without their codec. */
QOM_API int qom_can_compress_lossy(void);

/* Compresses image blocks of a format, each as a picture of its own: a few large ones take less
   than many small ones. Those that are stored exactly come last when they are decompressed. Null as
   above. */
QOM_API QomCompressedImageBlocks *qom_image_blocks_compress_lossy(const QomImageBlocks *blocks,
                                                                  PixelFormat format, int quality);

/* Compresses an image of which `count` areas are lossy, counted from its top-left corner, inside of
   it, and without common pixels. Null as above, EINVAL also for other areas. */
QOM_API QomCompressedImage *qom_image_compress_lossy(const QomImage *image,
                                                     const QomRectangle *areas, size_t count,
                                                     int quality);

/*
 * Compress pixels exactly, of which areas come from lossy ones and stay marked: of an image,
 * counted from its top-left corner and inside of it; of blocks, on the screen. Null as above,
 * EINVAL also for other areas.
 */
QOM_API QomCompressedImage *qom_image_compress_marked(const QomImage *image,
                                                      const QomRectangle *areas, size_t count);
QOM_API QomCompressedImageBlocks *qom_image_blocks_compress_marked(const QomImageBlocks *blocks,
                                                                   PixelFormat format,
                                                                   const QomRectangle *areas,
                                                                   size_t count);

#ifdef __cplusplus
}
#endif

#endif /* QOM_WRITER_H */
