/*
 * playback/footer.h - the short texts that a viewer shows in a footer.
 *
 * An array of items has FOOTER_ITEMS_COUNT texts of the C allocator, each none or owned
 * by the array.
 */
#ifndef QOMTCL_PLAYBACK_FOOTER_H
#define QOMTCL_PLAYBACK_FOOTER_H

#include "view.h"

/* Name of an item as scripts see it; "unknown" for any other index. */
const char *footer_item_name(int index);

/* Sets an item to a copy of `text` (none allowed) and marks it when that changes it. */
void footer_item_process(QomView *view, const char *text, int index);

/* Sets the footer items of a record that sets some. */
void footer_record_process(QomView *view, const QomRecord *record);

/* Sets the two footer items of a last-input record. */
void last_input_process(QomView *view, const QomLastInput *record);

/* Frees the texts of an array and sets each to none. May run twice. */
void footer_items_release(char *items[FOOTER_ITEMS_COUNT]);

/* Sets the view's items to copies of other ones and marks those that differ. */
void footer_items_become(QomView *view, const char *const items[FOOTER_ITEMS_COUNT]);

/* The same for what applying the records 0 <= index < last from nothing would give; records
   that cannot be read are passed over. The indexes must exist. */
void footer_items_look_up(QomView *view, size_t last);

/* True for records that set footer items, and nothing else. */
bool footer_items_are_set_by(uint8_t type);

/* Brings the items to where applying the records first <= index < last would bring them,
   texts and marks, while reading no more records than that takes; records that cannot be
   read are passed over. The indexes must exist. */
void footer_items_follow(QomView *view, size_t first, size_t last);

#endif /* QOMTCL_PLAYBACK_FOOTER_H */
