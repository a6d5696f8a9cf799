/*
 * printable.h - texts of others, such as a recording's or the names of files, made fit for the
 * trace and for warnings.
 */
#ifndef QOMTCL_PRINTABLE_H
#define QOMTCL_PRINTABLE_H

#include <tcl.h>

#include <string_view>

/* A copy of a text in which nothing can steer a terminal or end a line: every byte of control
   characters (C0, DEL, C1), separators of lines, invisible marks that turn the direction of
   writing, and bytes that are not UTF-8 is written as \xHH. All else is as it was. */
class PrintableText {
 public:
  explicit PrintableText(const char *text);
  ~PrintableText() { Tcl_DStringFree(&text_); }
  PrintableText(const PrintableText &) = delete;
  PrintableText &operator=(const PrintableText &) = delete;
  PrintableText(PrintableText &&) = delete;
  PrintableText &operator=(PrintableText &&) = delete;

  /* Valid as long as this object. */
  const char *get() const { return Tcl_DStringValue(&text_); }

 private:
  void append_numbers(std::string_view bytes);

  Tcl_DString text_;
};

#endif /* QOMTCL_PRINTABLE_H */
