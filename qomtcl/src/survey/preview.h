/*
 * survey/preview.h - small pictures of a recording at any moment.
 */
#ifndef QOMTCL_SURVEY_PREVIEW_H
#define QOMTCL_SURVEY_PREVIEW_H

#include <string>
#include <vector>

#include "survey/script.h"
#include "survey/worker.h"

/* What is wanted, and what came of it. */
struct Preview {
  uint64_t time = 0; /* microseconds */
  int width = 0;     /* pixels that the picture may have; never enlarged */
  int height = 0;
  bool made = false;
  std::string reason;  /* why it was not made */
  int shown_width = 0; /* pixels of `rgb` */
  int shown_height = 0;
  std::vector<uint8_t> rgb; /* rows of red, green and blue, without gaps */
};

/* Makes the picture, with the cursor. */
void preview_make(Source &source, Preview *preview);

/* Averages of the pixels under each pixel of a smaller picture of the same shape, which fits into
   preview->width x height. */
void preview_shrink(const QomPicture &picture, Preview *preview);

/* Puts it into the Tk image of a name. False with the reason in the interpreter. */
bool preview_put(Tcl_Interp *interp, const Preview &preview, const char *image);

class PreviewTask : public Task {
 public:
  PreviewTask(const Preview &wanted, const char *image, Tcl_Obj *script)
      : preview_(wanted), image_(image), script_(script) {}
  void run(Source &source) override { preview_make(source, &preview_); }
  void deliver(QomView *view, bool done) override;

 private:
  Preview preview_;
  std::string image_;
  Script script_;
};

#endif /* QOMTCL_SURVEY_PREVIEW_H */
