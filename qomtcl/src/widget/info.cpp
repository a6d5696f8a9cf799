#include "recording/timeline.h"
#include "widget/callback.h"
#include "widget/subcommands.h"

namespace {

class Dictionary {
 public:
  void put(const char *key, Tcl_Obj *value) {
    Tcl_DictObjPut(nullptr, object_, Tcl_NewStringObj(key, -1), value);
  }
  void put_number(const char *key, int value) { put(key, Tcl_NewIntObj(value)); }
  void put_wide(const char *key, uint64_t value) {
    put(key, Tcl_NewWideIntObj(static_cast<Tcl_WideInt>(value)));
  }
  void put_text(const char *key, const char *value) {
    put(key, Tcl_NewStringObj(value ? value : "", -1));
  }
  Tcl_Obj *object() const { return object_; }

 private:
  Tcl_Obj *object_ = Tcl_NewDictObj();
};

uint64_t in_ms(uint64_t microseconds) {
  return microseconds / 1000;
}

void put_times(const QomView *view, Dictionary *info) {
  info->put_wide("beginTimeInMs", in_ms(view->header->timestamp));
  info->put_wide("endTimeInMs", in_ms(time_of_last_record(view)));
  info->put_wide("durationInMs", in_ms(view_duration(view)));
}

void put_frame(const QomView *view, Dictionary *info) {
  const uint64_t time = time_of_frame(view, view->current_frame);
  char text[64];
  timestamp({static_cast<long>(time / 1000000), static_cast<long>(time % 1000000)}, text,
            sizeof text);
  info->put_wide("numberOfFrames", view->number_of_frames);
  info->put_wide("currentFrame", view->current_frame);
  info->put_text("timestamp", text);
  info->put_wide("timestampInMs", in_ms(time));
}

void put_screen(const QomView *view, Dictionary *info) {
  const QomHeader *header = view->header;
  info->put_number("width", view->width);
  info->put_number("height", view->height);
  info->put_number("depth", header->depth);
  info->put_text("pixelFormat", pixel_format_string(header->pixel_format));
  if (header->palette_size != 0) info->put_number("palette_size", header->palette_size);
}

}  // namespace

int cmd_info(QomView *view, int, Tcl_Obj *const[]) {
  Dictionary info;
  info.put_number("formatVersion", view->header->version);
  info.put_wide("recordCount", index_length(view));
  put_times(view, &info);
  put_frame(view, &info);
  put_screen(view, &info);
  info.put_number("minKeycode", view->header->min_keycode);
  info.put_number("maxKeycode", view->header->max_keycode);
  info.put_text("user", view->header->user);
  info.put_text("tfn", view->header->tfn);
  Tcl_SetObjResult(view->interp, info.object());
  return TCL_OK;
}
