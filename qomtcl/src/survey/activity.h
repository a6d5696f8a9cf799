/*
 * survey/activity.h - what happened when, from the index of a view's recording alone.
 *
 * Records of checkpoints restate what is there already and count for nothing.
 */
#ifndef QOMTCL_SURVEY_ACTIVITY_H
#define QOMTCL_SURVEY_ACTIVITY_H

#include <vector>

#include "view.h"

/* Over equal parts of a stretch of time. */
struct Activity {
  std::vector<uint64_t> picture; /* pixels drawn, at least 1 for each record that draws */
  std::vector<uint64_t> input;   /* moves of the cursor, and texts of the last input */
};

/* Measures the stretch from <= time < to (microseconds, from < to) in so many parts, above 0; what
   happens at `to` belongs to the last one. */
Activity activity_measure(const QomView *view, uint64_t from, uint64_t to, size_t parts);

/* The stretches from the first picture on of at least `limit` microseconds in which the picture
   does not change and nothing is told, in order. Moves of the cursor are none of that. */
std::vector<QomStretch> idle_find(const QomView *view, uint64_t limit);

/* The rate at which the recording's picture changes while it does, frames a second from 10 to 60;
   10 where too little changes to tell. It is that of the usual interval between changes, of those
   that are at most a fifth of a second; changes within 8 milliseconds are one. */
uint8_t recorded_framerate(const QomView *view);

#endif /* QOMTCL_SURVEY_ACTIVITY_H */
