#include "playback/footer.h"

#include <cstdlib>
#include <cstring>

#include "widget/callback.h"

void footer_item_process(QomView *view, const char *text, int index) {
  free(view->footer_items[index]);
  view->footer_items[index] = text ? strdup(text) : nullptr;
  view->footer_item_changed[index] = true;
}

void footer_items_release(char *items[FOOTER_ITEMS_COUNT]) {
  for (int i = 0; i < FOOTER_ITEMS_COUNT; ++i) {
    free(items[i]);
    items[i] = nullptr;
  }
}

void footer_setup_frontend(ClientData clientData) noexcept {
  auto *view = static_cast<QomView *>(clientData);
  view->first_notice = nullptr;
  notify_timestamp(view);
}
