#include "playback/footer.h"

#include <cassert>
#include <cstdlib>
#include <cstring>

#include "handles.h"
#include "printable.h"
#include "recording/reader.h"
#include "trace.h"

namespace {

constexpr int kTextTypes = 7; /* types of records that set footer items */

template <typename Typed>
const Typed *as(const QomRecord *record) {
  return reinterpret_cast<const Typed *>(record);
}

bool texts_are_equal(const char *a, const char *b) {
  return a && b ? strcmp(a, b) == 0 : a == b;
}

void item_store(QomView *view, const char *text, int index) {
  char *copy = text ? strdup(text) : nullptr;
  free(view->footer_items[index]);
  view->footer_items[index] = copy;
}

/* The first item that records of a type set; none for records that set no item. */
int first_item_of(uint8_t type) {
  switch (type) {
    case QOM_FOOTER_ITEM_APP:
      return INDEX_FOOTER_APP;
    case QOM_FOOTER_ITEM_APPFMT:
      return INDEX_FOOTER_APPFMT;
    case QOM_FOOTER_ITEM_HOST:
      return INDEX_FOOTER_HOST;
    case QOM_FOOTER_ITEM_IP:
      return INDEX_FOOTER_IP;
    case QOM_LAST_INPUT:
      return INDEX_FOOTER_LI_USER;
    case QOM_FOOTER_ITEM_SID:
      return INDEX_FOOTER_SID;
    case QOM_FOOTER_ITEM_TID:
      return INDEX_FOOTER_TID;
    default:
      return -1;
  }
}

/* Once an item is marked, only the latest record that sets it matters. */
bool is_settled(const QomView *view, int item) {
  if (item != INDEX_FOOTER_LI_USER) return view->footer_item_changed[item];
  return view->footer_item_changed[INDEX_FOOTER_LI_USER] &&
         view->footer_item_changed[INDEX_FOOTER_LI_TFN];
}

void record_follow(QomView *view, size_t index) {
  const RecordHandle<QomRecord> record(record_at_index(view, index));
  if (record && footer_items_are_set_by(record->type)) footer_record_process(view, record.get());
}

}  // namespace

const char *footer_item_name(int index) {
  static const char *const names[FOOTER_ITEMS_COUNT] = {"app",  "appfmt", "host", "ip",
                                                        "user", "tfn",    "sid",  "tid"};
  return 0 <= index && index < FOOTER_ITEMS_COUNT ? names[index] : "unknown";
}

void footer_item_process(QomView *view, const char *text, int index) {
  assert(view && "view should not be NULL");
  assert(0 <= index && index < FOOTER_ITEMS_COUNT && "index should be valid");
  bool *changed = &view->footer_item_changed[index];
  if (!texts_are_equal(view->footer_items[index], text)) {
    *changed = true;
    item_store(view, text, index);
  }
  if (!view->option.debug) return;
  const char *value = view->footer_items[index];
  trace(view, "-- %s: item(%d)=%s value=%s\n", "footer_item_process", index,
        footer_item_name(index), PrintableText(value ? value : "(null)").get());
}

void last_input_process(QomView *view, const QomLastInput *record) {
  footer_item_process(view, record->user, INDEX_FOOTER_LI_USER);
  footer_item_process(view, record->tfn, INDEX_FOOTER_LI_TFN);
}

void footer_record_process(QomView *view, const QomRecord *record) {
  const auto set = [&](index_footer_items index) {
    footer_item_process(view, as<QomFooterItem>(record)->item, index);
  };
  switch (record->type) {
    case QOM_LAST_INPUT:
      return last_input_process(view, as<QomLastInput>(record));
    case QOM_FOOTER_ITEM_APP:
      return set(INDEX_FOOTER_APP);
    case QOM_FOOTER_ITEM_APPFMT:
      return set(INDEX_FOOTER_APPFMT);
    case QOM_FOOTER_ITEM_HOST:
      return set(INDEX_FOOTER_HOST);
    case QOM_FOOTER_ITEM_IP:
      return set(INDEX_FOOTER_IP);
    case QOM_FOOTER_ITEM_SID:
      return set(INDEX_FOOTER_SID);
    case QOM_FOOTER_ITEM_TID:
      return set(INDEX_FOOTER_TID);
    default:
      return;
  }
}

void footer_items_follow(QomView *view, size_t first, size_t last) {
  constexpr size_t kNone = SIZE_MAX;
  size_t latest[FOOTER_ITEMS_COUNT];
  for (size_t &index : latest) index = kNone;
  for (size_t i = first; i < last; ++i) {
    const int item = first_item_of(view->entries[i].type);
    if (item < 0) continue;
    latest[item] = is_settled(view, item) ? i : kNone;
    if (latest[item] == kNone) record_follow(view, i);
  }
  for (const size_t index : latest)
    if (index != kNone) record_follow(view, index);
}

void footer_items_release(char *items[FOOTER_ITEMS_COUNT]) {
  for (int i = 0; i < FOOTER_ITEMS_COUNT; ++i) {
    free(items[i]);
    items[i] = nullptr;
  }
}

void footer_items_become(QomView *view, const char *const items[FOOTER_ITEMS_COUNT]) {
  for (int i = 0; i < FOOTER_ITEMS_COUNT; ++i) {
    if (texts_are_equal(view->footer_items[i], items[i])) continue;
    item_store(view, items[i], i);
    view->footer_item_changed[i] = true;
  }
}

void footer_items_look_up(QomView *view, size_t last) {
  RecordHandle<QomRecord> latest[FOOTER_ITEMS_COUNT]; /* by the first item that they set */
  int missing = kTextTypes;
  for (size_t i = last; i > 0 && missing > 0; --i) {
    const int item = first_item_of(view->entries[i - 1].type);
    if (item < 0 || latest[item]) continue;
    latest[item].reset(record_at_index(view, i - 1));
    if (latest[item]) --missing;
  }
  const char *items[FOOTER_ITEMS_COUNT] = {};
  for (int i = 0; i < FOOTER_ITEMS_COUNT; ++i)
    if (latest[i] && i != INDEX_FOOTER_LI_USER)
      items[i] = reinterpret_cast<const QomFooterItem *>(latest[i].get())->item;
  if (const auto *input =
          reinterpret_cast<const QomLastInput *>(latest[INDEX_FOOTER_LI_USER].get())) {
    items[INDEX_FOOTER_LI_USER] = input->user;
    items[INDEX_FOOTER_LI_TFN] = input->tfn;
  }
  footer_items_become(view, items);
}

bool footer_items_are_set_by(uint8_t type) {
  return first_item_of(type) >= 0;
}
