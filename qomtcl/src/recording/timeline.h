/*
 * recording/timeline.h - frames laid over the times of the records.
 *
 * Frame f stands for the instant T0 + f x P, where T0 is the time of the record that
 * gave the first full image and P the period. Frame 0 is the state right after that
 * image; frame number_of_frames is the first instant at or after the last record. The
 * step from frame f to f + 1 applies the records from index_of_frame(f) up to, not
 * including, index_of_frame(f + 1); the step from frame 0 therefore starts at record 0.
 *
 * Times are microseconds. Nothing here needs an X server.
 */
#ifndef QOMTCL_RECORDING_TIMELINE_H
#define QOMTCL_RECORDING_TIMELINE_H

#include "view.h"

/* Number of records. */
size_t index_length(const QomView *view);

/* T0; the index must be present. */
uint64_t time_of_first_frame(const QomView *view);

/* Time of the last record; the index must be present and not empty. */
uint64_t time_of_last_record(const QomView *view);

/* From the first frame to the last record; 0 when the index is empty. */
uint64_t duration_in_us(const QomView *view);

/* Wall time per frame, milliseconds. */
int32_t period(const QomView *view);

/* Recording time per frame, microseconds. */
int32_t period_in_us(const QomView *view);

size_t number_of_frames(const QomView *view);

/* Time of a frame; any frame number. */
uint64_t time_of_frame(const QomView *view, size_t frame);

/* The frame at or before a time; the time must not be before T0. */
size_t frame_at_time(const QomView *view, uint64_t time);

/* First record of the frame at a time: 0 up to T0, the last index from the last
   record's time on. The index must not be empty. */
size_t index_at_time(const QomView *view, uint64_t time);

/* The same for a frame; frames past the end count as the last. */
size_t index_of_frame(const QomView *view, size_t frame);

/* True once current_frame has come to number_of_frames. */
bool last_frame_is_reached(const QomView *view);

/* True for a frame at most two away from the current one, in 32-bit arithmetic. */
bool almost_current_frame(const QomView *view, int32_t frame);

/* From the header's time to the record at `index`, which must exist. */
uint64_t time_elapsed_at_index(const QomView *view, size_t index);

/* From the header's time to the last record; the index must not be empty. */
uint64_t view_duration(const QomView *view);

#endif /* QOMTCL_RECORDING_TIMELINE_H */
