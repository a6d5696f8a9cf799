/* qomtest::record: recordings from the text form that `qom make` reads. */

#include <qom/writer.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "handles.h"
#include "support.h"
#include "text/parser.h"

namespace {

using qomtool::TextParser;

/* Of compressed blocks: such that end within the last one. Of a compressed image: one that does not
   decompress. */
RecordHandle<void> spoilt(const QomRecord *record) {
  if (record->type == QOM_COMPRESSED_IMAGE_BLOCKS) {
    const RecordHandle<QomImageBlocks> blocks(
        qom_image_blocks_uncompress(reinterpret_cast<const QomCompressedImageBlocks *>(record)));
    blocks->length -= 3;
    return RecordHandle<void>(qom_image_blocks_compress(blocks.get()));
  }
  auto *image = reinterpret_cast<QomCompressedImage *>(qom_record_dup(record));
  image->compressed_length = 4;
  memcpy(image->data, "\1\2\3\4", 4);
  return RecordHandle<void>(image);
}

bool write(QomWriter *writer, TextParser::Item item, const QomRecord *record, bool spoil) {
  if (item == TextParser::Item::checkpoint_begin) return qom_writer_begin_checkpoint(writer) == 0;
  if (item == TextParser::Item::checkpoint_end) return qom_writer_end_checkpoint(writer) == 0;
  if (spoil) return qom_writer_append(writer, spoilt(record).get()) == 0;
  return qom_writer_append(writer, record) == 0;
}

/* Throws for a mistake in the text. */
bool record(const char *path, FILE *text, unsigned long spoilt_line) {
  TextParser parser(text);
  const std::unique_ptr<QomWriter, decltype(&qom_writer_close)> writer(
      qom_writer_create(path, &parser.header()), qom_writer_close);
  bool written = writer != nullptr;
  for (auto item = parser.next(); written && item != TextParser::Item::end; item = parser.next())
    written = write(writer.get(), item, parser.record(), parser.line() == spoilt_line);
  return written;
}

}  // namespace

int record_command(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) {
  int length = 0;
  int line = 0;
  if (objc != 4 || Tcl_GetIntFromObj(interp, objv[3], &line) != TCL_OK) return TCL_ERROR;
  char *words = Tcl_GetStringFromObj(objv[2], &length);
  const std::unique_ptr<FILE, decltype(&fclose)> text(
      fmemopen(words, static_cast<size_t>(length), "r"), fclose);
  try {
    if (record(Tcl_GetString(objv[1]), text.get(), static_cast<unsigned long>(line))) return TCL_OK;
    Tcl_SetObjResult(interp, Tcl_NewStringObj(qom_reader_error(), -1));
  } catch (const qomtool::TextError &error) {
    Tcl_SetObjResult(interp, Tcl_ObjPrintf("line %lu: %s", error.line(), error.what()));
  }
  return TCL_ERROR;
}
