#include "display/conversion.h"

#include "display/merge.h"
#include "display/pixel_format.h"

bool merge_setup(QomView *view) {
  Tk_Window main_window = Tk_MainWindow(view->interp);
  if (!main_window) return false; /* the application was destroyed; Tk has said so */
  scanline_pad = view->header->scanline_pad;
  const PixelFormat from = view->header->pixel_format;
  const PixelFormat to = pixel_format(Tk_Display(main_window));
  view->merge = merge_define(from, to);
  if (!view->merge) {
    Tcl_SetErrorCode(view->interp, "QOM", "SETUP", "CONVERSION", nullptr);
    Tcl_SetObjResult(view->interp,
                     Tcl_ObjPrintf("no conversion from pixel format %s to %s",
                                   pixel_format_string(from), pixel_format_string(to)));
    return false;
  }
  view->pixel_format = to;
  view->scaling.pixman_format = pixman_format_from_qom_format(to);
  return true;
}

void merge_teardown(QomView *view) {
  view->merge = nullptr;
}
