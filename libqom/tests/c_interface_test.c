/* Both headers in C, with the sizes and offsets that programs are compiled against, and every
   function that they declare: without one of them this does not link with the shared library. */
#include <stddef.h>
#include <stdio.h>

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

typedef void (*Function)(void);

const Function functions[] = {(Function)qom_reader_open,
                              (Function)qom_reader_close,
                              (Function)qom_info_header,
                              (Function)qom_reader_index,
                              (Function)qom_reader_index_length,
                              (Function)qom_index_at_time,
                              (Function)qom_record_at_index,
                              (Function)qom_checkpoint_before,
                              (Function)qom_record_dup,
                              (Function)qom_record_free,
                              (Function)qom_image_uncompress,
                              (Function)qom_image_blocks_uncompress,
                              (Function)qom_image_blocks_next,
                              (Function)qom_record_type_to_string,
                              (Function)qom_record_dump,
                              (Function)pixel_format_string,
                              (Function)pixel_format_bytes_per_pixel,
                              (Function)stride_in_bytes,
                              (Function)qom_reader_error,
                              (Function)qom_reader_info,
                              (Function)qom_reader_gaps,
                              (Function)qom_reader_scan,
                              (Function)qom_writer_create,
                              (Function)qom_writer_append,
                              (Function)qom_writer_gap,
                              (Function)qom_writer_size,
                              (Function)qom_writer_flush,
                              (Function)qom_writer_begin_checkpoint,
                              (Function)qom_writer_end_checkpoint,
                              (Function)qom_writer_close,
                              (Function)qom_image_compress,
                              (Function)qom_image_blocks_compress};

int main(void) {
  printf("%zu functions\n", sizeof functions / sizeof functions[0]);
  return qom_reader_open("/") != NULL || stride_in_bytes(3, 8, 32) != 4;
}
