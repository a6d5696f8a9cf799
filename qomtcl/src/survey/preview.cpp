#include "survey/preview.h"

#include <qom/picture.h>
#include <tk.h>

#include <algorithm>
#include <cmath>

namespace {

constexpr int kRgb = 3;

void failed(Preview *preview) {
  preview->reason = qom_reader_error();
}

/* First of the `from` pixels that lie under pixel `at` of `to` pixels. */
int under(int at, int from, int to) {
  return static_cast<int>(static_cast<int64_t>(at) * from / std::max(to, 1));
}

/* The mean of the pixels of some columns, whose sums of `rows` rows are given. */
void pixel_average(const uint32_t *sums, int first, int last, int rows, uint8_t *pixel) {
  const auto count = static_cast<uint64_t>(last - first) * static_cast<uint64_t>(rows);
  for (int channel = 0; channel < kRgb; ++channel) {
    uint64_t sum = 0;
    for (int x = first; x < last; ++x) sum += sums[x * kRgb + channel];
    pixel[channel] = static_cast<uint8_t>((sum + count / 2) / std::max<uint64_t>(count, 1));
  }
}

/* Sums of rows of a picture, channel by channel. */
void rows_sum(const QomPicture &picture, int first, int last, std::vector<uint8_t> *row,
              std::vector<uint32_t> *sums) {
  std::fill(sums->begin(), sums->end(), 0u);
  for (int y = first; y < last; ++y) {
    qom_picture_rgb(&picture, {0, y, picture.width, 1}, row->data(), row->size());
    for (size_t i = 0; i < row->size(); ++i) (*sums)[i] += (*row)[i];
  }
}

void size_choose(const QomPicture &picture, Preview *preview) {
  const double factor = std::min({1.0, static_cast<double>(preview->width) / picture.width,
                                  static_cast<double>(preview->height) / picture.height});
  const auto scaled = [&](int side) {
    return std::max(1, static_cast<int>(std::lround(side * factor)));
  };
  preview->shown_width = scaled(picture.width);
  preview->shown_height = scaled(picture.height);
}

}  // namespace

void preview_shrink(const QomPicture &picture, Preview *preview) {
  size_choose(picture, preview);
  const int wide = preview->shown_width;
  const int high = preview->shown_height;
  preview->rgb.resize(static_cast<size_t>(wide) * static_cast<size_t>(high) * kRgb);
  std::vector<uint8_t> row(static_cast<size_t>(picture.width) * kRgb);
  std::vector<uint32_t> sums(row.size());
  uint8_t *pixel = preview->rgb.data();
  for (int y = 0; y < high; ++y) {
    const int first = under(y, picture.height, high);
    const int last = under(y + 1, picture.height, high);
    rows_sum(picture, first, last, &row, &sums);
    for (int x = 0; x < wide; ++x, pixel += kRgb)
      pixel_average(sums.data(), under(x, picture.width, wide), under(x + 1, picture.width, wide),
                    last - first, pixel);
  }
}

void preview_make(Source &source, Preview *preview) {
  QomScreen *screen = source.screen();
  if (!screen) return failed(preview);
  const QomScreenResult result = qom_screen_go_to_time(screen, preview->time);
  if (result == QOM_SCREEN_PAUSED) return;
  QomPicture picture{};
  if (result != QOM_SCREEN_REACHED || qom_screen_picture(screen, 1, &picture) != 0)
    return failed(preview);
  preview_shrink(picture, preview);
  preview->made = true;
}

bool preview_put(Tcl_Interp *interp, const Preview &preview, const char *image) {
  Tk_PhotoHandle photo = Tk_FindPhoto(interp, image);
  if (!photo) {
    Tcl_SetErrorCode(interp, "QOM", "PREVIEW", "LOOKUP", nullptr);
    Tcl_SetObjResult(interp, Tcl_ObjPrintf("image \"%s\" does not exist", image));
    return false;
  }
  const int wide = preview.shown_width;
  const int high = preview.shown_height;
  Tk_PhotoImageBlock block{
      const_cast<uint8_t *>(preview.rgb.data()), wide, high, wide * kRgb, kRgb, {0, 1, 2, -1}};
  return Tk_PhotoSetSize(interp, photo, wide, high) == TCL_OK &&
         Tk_PhotoPutBlock(interp, photo, &block, 0, 0, wide, high, TK_PHOTO_COMPOSITE_SET) ==
             TCL_OK;
}

void PreviewTask::deliver(QomView *view, bool done) {
  Tcl_Interp *interp = view->interp;
  const char *outcome = done ? "ok" : "replaced";
  if (done && !preview_.made) {
    outcome = "error";
    Tcl_SetErrorCode(interp, "QOM", "PREVIEW", "READ", nullptr);
    Tcl_SetObjResult(interp, Tcl_NewStringObj(preview_.reason.c_str(), -1));
  } else if (done && !preview_put(interp, preview_, image_.c_str())) {
    outcome = "error";
  }
  if (script_)
    script_.call(view, {Tcl_NewStringObj(outcome, -1),
                        Tcl_NewWideIntObj(static_cast<Tcl_WideInt>(preview_.time))});
}
