/*
 * playback/record_run.h - records read and applied one after the other.
 */
#ifndef QOMTCL_PLAYBACK_RECORD_RUN_H
#define QOMTCL_PLAYBACK_RECORD_RUN_H

#include "playback/round.h"
#include "view.h"

enum class RunResult { done, failed, paused };

/*
 * Applies the records first <= index < last, all of which exist, and tells on standard
 * error which one cannot be read or applied; tolerant views count it and go on, others stop
 * there. Those that the screen is beyond count for the footer items alone. Pauses between two
 * records, or between two of very many blocks of one, when the round (none allowed) is long;
 * *next is the record to go on with then, progress.offset is not 0 within it.
 */
RunResult records_run(QomView *view, size_t first, size_t last, const Round *round, size_t *next);

#endif /* QOMTCL_PLAYBACK_RECORD_RUN_H */
