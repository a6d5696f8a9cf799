/*
 * playback/record_run.h - records read and applied one after the other.
 *
 * A storm of screen changes costs no more than its last one: the pixels follow once, when
 * a record needs them or the run ends. What it ends with is the same.
 */
#ifndef QOMTCL_PLAYBACK_RECORD_RUN_H
#define QOMTCL_PLAYBACK_RECORD_RUN_H

#include "playback/round.h"
#include "view.h"

/* True when the record at `index` is a screen change and another one follows it before
   `last` and before any picture. */
bool screen_change_is_passed(const QomView *view, size_t index, size_t last);

enum class RunResult { done, failed, paused };

/*
 * Applies the records first <= index < last, all of which exist, and tells on standard
 * error which one cannot be read or applied; tolerant views count it and go on, others stop
 * there. Pauses between two records, or between two of very many blocks of one, when the round
 * (none allowed) is long; *next is the record to go on with then, progress.offset where in it.
 */
RunResult records_run(QomView *view, size_t first, size_t last, const Round *round, size_t *next);

#endif /* QOMTCL_PLAYBACK_RECORD_RUN_H */
