/*
 * playback/round.h - how long a round of a move has kept the event loop waiting.
 */
#ifndef QOMTCL_PLAYBACK_ROUND_H
#define QOMTCL_PLAYBACK_ROUND_H

#include "trace.h"

/* Milliseconds after which a round pauses where records take long: what one record more, a
   key frame and the display of the largest picture take still fits into a second. */
inline constexpr double kLongRound = 300;

class Round {
 public:
  Round() : start_(trace_clock()) {}

  double milliseconds() const { return trace_duration_ms(start_, trace_clock()); }
  bool is_long() const { return milliseconds() > kLongRound; }

 private:
  struct timespec start_;
};

#endif /* QOMTCL_PLAYBACK_ROUND_H */
