#include "display/cursor.h"

int cursor_update(QomView *view, const QomCursorImage *cursor_image) {
  auto *copy = reinterpret_cast<QomCursorImage *>(qom_record_dup(cursor_image));
  if (!copy) return 1;
  qom_record_free(view->cursor.record);
  view->cursor.record = copy;
  return 0;
}

void cursor_update_current_position(QomView *, int, int) {}

bool cursor_scaling_ximage_realloc(QomView *) {
  return true;
}

bool cursor_is_damaged(const QomView *) {
  return false;
}

bool cursor_has_moved(const QomView *) {
  return false;
}

void cursor_repaint(QomView *) {}

void cursor_teardown(QomView *view) {
  qom_record_free(view->cursor.record);
  if (view->cursor.ximage) XDestroyImage(view->cursor.ximage);
  view->cursor = {};
}
