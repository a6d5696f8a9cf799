#include "recording/timeline.h"

#include <algorithm>
#include <cassert>

size_t index_length(const QomView *view) {
  return qom_reader_index_length(view->reader);
}

uint64_t time_of_first_frame(const QomView *view) {
  assert(view->entries && "view->entries should not be NULL");
  return view->entries[view->index_of_first_frame].timestamp;
}

uint64_t time_of_last_record(const QomView *view) {
  assert(view->entries && "view->entries should not be NULL");
  return view->entries[index_length(view) - 1].timestamp;
}

uint64_t duration_in_us(const QomView *view) {
  if (index_length(view) == 0) return 0;
  return time_of_last_record(view) - time_of_first_frame(view);
}

int32_t period(const QomView *view) {
  return view->playing.period;
}

int32_t period_in_us(const QomView *view) {
  return static_cast<int32_t>(view->playing.period_in_us);
}

size_t number_of_frames(const QomView *view) {
  return view->number_of_frames;
}

uint64_t time_of_frame(const QomView *view, size_t frame) {
  return time_of_first_frame(view) + frame * static_cast<uint64_t>(period_in_us(view));
}

size_t frame_at_time(const QomView *view, uint64_t ts) {
  assert(ts >= time_of_first_frame(view) && "frame should exist");
  return (ts - time_of_first_frame(view)) / static_cast<uint64_t>(period_in_us(view));
}

size_t index_at_time(const QomView *view, uint64_t ts) {
  assert(index_length(view) > 0 && "there should be at least one record");
  if (ts <= time_of_first_frame(view)) return 0;
  if (ts >= time_of_last_record(view)) return index_length(view) - 1;
  return qom_index_at_time(view->reader, ts);
}

size_t index_of_frame(const QomView *view, size_t frame) {
  return index_at_time(view, time_of_frame(view, std::min(frame, view->number_of_frames)));
}

bool last_frame_is_reached(const QomView *view) {
  return view->current_frame >= view->number_of_frames;
}

bool almost_current_frame(const QomView *view, int32_t frame) {
  /* Unsigned, since the difference of two frame numbers may wrap. */
  const auto difference = static_cast<int32_t>(static_cast<uint32_t>(frame) -
                                               static_cast<uint32_t>(view->current_frame));
  return difference >= -2 && difference <= 2;
}

uint64_t time_elapsed_at_index(const QomView *view, size_t index) {
  assert(index <= index_length(view) - 1);
  assert(view->entries && "view->entries should not be NULL");
  return view->entries[index].timestamp - view->header->timestamp;
}

uint64_t view_duration(const QomView *view) {
  return time_elapsed_at_index(view, index_length(view) - 1);
}
