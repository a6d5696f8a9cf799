/* Both headers in C, every function of the shared library called once: a program in C can be
   built with them, and the library exports what they declare. */
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "qom/qom.h"
#include "qom/writer.h"

_Static_assert(sizeof(QomRecord) == 16, "QomRecord");
_Static_assert(sizeof(RgbValue) == 8, "RgbValue");
_Static_assert(sizeof(QomHeader) == 64, "QomHeader");
_Static_assert(sizeof(QomImage) == 48, "QomImage");
_Static_assert(sizeof(QomCompressedImage) == 48, "QomCompressedImage");
_Static_assert(sizeof(QomCursorImage) == 48, "QomCursorImage");
_Static_assert(sizeof(QomCursorPosition) == 24, "QomCursorPosition");
_Static_assert(sizeof(QomScreenChange) == 24, "QomScreenChange");
_Static_assert(sizeof(QomLastInput) == 32, "QomLastInput");
_Static_assert(sizeof(QomFooterItem) == 24, "QomFooterItem");
_Static_assert(sizeof(QomImageBlocks) == 32, "QomImageBlocks");
_Static_assert(sizeof(QomCompressedImageBlocks) == 32, "QomCompressedImageBlocks");
_Static_assert(sizeof(QomIndexEntry) == 24, "QomIndexEntry");
_Static_assert(offsetof(QomHeader, palette) == 32 && offsetof(QomHeader, tfn) == 56, "QomHeader");
_Static_assert(offsetof(QomImage, data) == 40 && offsetof(QomImage, length) == 36, "QomImage");

static int failures;

#define CHECK(condition)                                                     \
  do {                                                                       \
    if (!(condition)) {                                                      \
      printf("line %d: %s: %s\n", __LINE__, #condition, qom_reader_error()); \
      ++failures;                                                            \
    }                                                                        \
  } while (0)

static void write_recording(const char *path, const QomImage *image, const QomImageBlocks *blocks) {
  QomHeader header = {.timestamp = 1, .depth = 8, .width = 2, .height = 1, .pixel_format = RGB332};
  QomScreenChange change = {.type = QOM_SCREEN_CHANGE, .timestamp = 1, .width = 2, .height = 1};
  QomWriter *writer = qom_writer_create(path, &header);
  QomCompressedImage *packed = qom_image_compress(image);
  QomCompressedImageBlocks *packed_blocks = qom_image_blocks_compress(blocks);
  CHECK(writer && packed && packed_blocks);
  CHECK(qom_writer_begin_checkpoint(writer) == 0);
  CHECK(qom_writer_append(writer, &change) == 0);
  CHECK(qom_writer_append(writer, packed) == 0);
  CHECK(qom_writer_end_checkpoint(writer) == 0);
  CHECK(qom_writer_append(writer, packed_blocks) == 0);
  CHECK(qom_writer_flush(writer) == 0);
  CHECK(qom_writer_close(writer) == 0);
  qom_record_free(packed);
  qom_record_free(packed_blocks);
}

static int count(void *context, const QomScanEvent *event) {
  *(int *)context += event->kind == QOM_SCAN_RECORD;
  return event->kind == QOM_SCAN_END ? 42 : 0;
}

static void read_recording(const char *path) {
  QomReader *reader = qom_reader_open(path);
  QomReaderInfo info;
  size_t first = 9, end = 9, offset = 0;
  int records = 0;
  CHECK(reader && qom_info_header(reader)->version == 1);
  CHECK(qom_reader_index(reader) && qom_reader_index_length(reader) == 3);
  CHECK(qom_reader_info(reader, &info) == 0 && info.state == QOM_STATE_FINISHED);
  CHECK(qom_index_at_time(reader, 5) == 2);
  CHECK(qom_checkpoint_before(reader, 2, &first, &end) == 1 && first == 0 && end == 2);
  CHECK(qom_reader_scan(reader, count, &records) == 42 && records == 3);
  QomCompressedImage *packed = (QomCompressedImage *)qom_record_at_index(reader, 1);
  QomCompressedImageBlocks *packed_blocks =
      (QomCompressedImageBlocks *)qom_record_at_index(reader, 2);
  QomImage *image = qom_image_uncompress(packed);
  QomImageBlocks *blocks = qom_image_blocks_uncompress(packed_blocks);
  QomImage block;
  CHECK(image && memcmp(image->data, "ab", 2) == 0);
  CHECK(blocks && qom_image_blocks_next(blocks, qom_info_header(reader), &offset, &block) == 1);
  QomRecord *copy = qom_record_dup(image);
  CHECK(qom_reader_close(reader) == 0);
  qom_record_dump(copy); /* records outlive their reader */
  qom_record_free(copy);
  qom_record_free(image);
  qom_record_free(blocks);
  qom_record_free(packed);
  qom_record_free(packed_blocks);
}

int main(void) {
  char path[] = "/tmp/qom-c-XXXXXX";
  uint8_t pixels[] = {'a', 'b'};
  uint8_t rectangle[] = {0, 0, 0, 0, 1, 0, 1, 0, 'c'};
  QomImage image = {.type = QOM_IMAGE,
                    .timestamp = 1,
                    .width = 2,
                    .height = 1,
                    .pixel_format = RGB332,
                    .bytes_per_line = stride_in_bytes(2, 8, 0),
                    .length = 2,
                    .data = pixels};
  QomImageBlocks blocks = {
      .type = QOM_IMAGE_BLOCKS, .timestamp = 5, .length = sizeof rectangle, .data = rectangle};
  CHECK(mkdtemp(path));
  char file[64];
  snprintf(file, sizeof file, "%s/recording", path);
  write_recording(file, &image, &blocks);
  read_recording(file);
  CHECK(!qom_reader_open(path) && errno == EISDIR);
  CHECK(strcmp(pixel_format_string(RGB332), "RGB332") == 0);
  CHECK(pixel_format_bytes_per_pixel(RGB332) == 1);
  CHECK(strcmp(qom_record_type_to_string(QOM_DONE), "QOM_DONE") == 0);
  unlink(file);
  rmdir(path);
  return failures != 0;
}
