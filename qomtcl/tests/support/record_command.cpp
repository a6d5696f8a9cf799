/* qomtest::record: recordings from the text form that `qom make` reads. */

#include <qom/writer.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "handles.h"
#include "support.h"
#include "text/parser.h"

namespace {

using qomtool::TextParser;

struct FileCloser {
  void operator()(FILE *file) const { fclose(file); }
};
struct WriterCloser {
  void operator()(QomWriter *writer) const { qom_writer_close(writer); }
};

/* An image that does not decompress, or blocks whose data ends within the last one. */
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
  return qom_writer_append(writer, spoil ? spoilt(record).get() : record) == 0;
}

/* Throws for a mistake in the text. */
bool record(const char *path, FILE *text, Tcl_Obj *spoilt_lines) {
  TextParser parser(text);
  const std::unique_ptr<QomWriter, WriterCloser> writer(qom_writer_create(path, &parser.header()));
  if (!writer) return false;
  for (auto item = parser.next(); item != TextParser::Item::end; item = parser.next()) {
    Tcl_Obj *spoil = nullptr;
    Tcl_Obj *const line = Tcl_NewWideIntObj(static_cast<Tcl_WideInt>(parser.line()));
    if (Tcl_DictObjGet(nullptr, spoilt_lines, line, &spoil) != TCL_OK) return false;
    Tcl_DecrRefCount(line);
    if (!write(writer.get(), item, parser.record(), spoil != nullptr)) return false;
  }
  return true;
}

}  // namespace

int record_command(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) {
  if (objc != 4) return TCL_ERROR;
  int length = 0;
  char *words = Tcl_GetStringFromObj(objv[2], &length);
  const std::unique_ptr<FILE, FileCloser> text(fmemopen(words, static_cast<size_t>(length), "r"));
  try {
    if (record(Tcl_GetString(objv[1]), text.get(), objv[3])) return TCL_OK;
    Tcl_SetObjResult(interp, Tcl_ObjPrintf("%s (%s)", qom_reader_error(), strerror(errno)));
  } catch (const qomtool::TextError &error) {
    Tcl_SetObjResult(interp, Tcl_ObjPrintf("line %lu: %s", error.line(), error.what()));
  }
  return TCL_ERROR;
}
