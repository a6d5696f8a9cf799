#include "recording/reader.h"

#include <err.h>

#include <cerrno>

#include "display/palette.h"
#include "printable.h"

namespace {

/* The path as Tcl text; messages are UTF-8 whatever the file system's encoding is. */
class PathText {
 public:
  explicit PathText(const char *path) { Tcl_ExternalToUtfDString(nullptr, path, -1, &text_); }
  ~PathText() { Tcl_DStringFree(&text_); }
  PathText(const PathText &) = delete;
  PathText &operator=(const PathText &) = delete;
  const char *get() const { return Tcl_DStringValue(&text_); }

 private:
  Tcl_DString text_;
};

bool reader_setup_failed(QomView *view, const char *message) {
  const int cause = errno;
  const PathText file(view->file);
  if (cause != 0) {
    Tcl_SetErrno(cause);
    const char *words = Tcl_PosixError(view->interp);
    Tcl_SetObjResult(view->interp, Tcl_ObjPrintf("%s %s: %s", message, file.get(), words));
  } else {
    warnx("%s: %s: %s", "reader_setup", PrintableText(view->file).get(),
          PrintableText(qom_reader_error()).get());
    Tcl_SetErrorCode(view->interp, "QOM", "SETUP", "READER", nullptr);
    Tcl_SetObjResult(view->interp, Tcl_ObjPrintf("%s %s", message, file.get()));
  }
  return false;
}

}  // namespace

bool reader_setup(QomView *view, const char *file) {
  view->file = file;
  errno = 0;
  view->reader = qom_reader_open(file);
  if (!view->reader) return reader_setup_failed(view, "failed to open file");
  view->header = qom_info_header(view->reader);
  view->width = view->header->width;
  view->height = view->header->height;
  palette_set(view->header);
  errno = 0;
  view->entries = qom_reader_index(view->reader);
  if (!view->entries) return reader_setup_failed(view, "failed to index file");
  return true;
}

void reader_teardown(QomView *view) {
  view->entries = nullptr;
  view->width = 0;
  view->height = 0;
  view->header = nullptr;
  qom_reader_close(view->reader);
  view->reader = nullptr;
}

QomRecord *record_at_index(const QomView *view, size_t index) {
  return qom_record_at_index(view->reader, index);
}
