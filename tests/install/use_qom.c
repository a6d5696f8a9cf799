/* A program as someone would write it who has only the installed library: writes a recording of
 * one record and reads it back. */
#include <qom/qom.h>
#include <qom/writer.h>
#include <stdio.h>

static int complain(const char *what) {
  fprintf(stderr, "use_qom: %s: %s\n", what, qom_reader_error());
  return 1;
}

int main(int argc, char **argv) {
  if (argc != 2) return complain("usage: use_qom FILE");
  QomHeader header = {.type = QOM_HEADER,
                      .timestamp = 1,
                      .depth = 24,
                      .width = 64,
                      .height = 48,
                      .pixel_format = xRGB8888,
                      .scanline_pad = 32};
  QomCursorPosition position = {.type = QOM_CURSOR_POSITION, .timestamp = 2, .x = 3, .y = 4};
  QomWriter *writer = qom_writer_create(argv[1], &header);
  if (!writer || qom_writer_append(writer, &position) != 0 || qom_writer_close(writer) != 0)
    return complain("cannot write");

  QomReader *reader = qom_reader_open(argv[1]);
  if (!reader || !qom_reader_index(reader)) return complain("cannot read");
  int same = qom_info_header(reader)->width == 64 && qom_reader_index_length(reader) == 1;
  QomCursorPosition *read = (QomCursorPosition *)qom_record_at_index(reader, 0);
  same = same && read && read->x == 3 && read->y == 4;
  qom_record_free(read);
  qom_reader_close(reader);
  return same ? 0 : complain("what was read is not what was written");
}
