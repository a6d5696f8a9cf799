// What the screen asks of a reader, beside the interface: entries of the index one by one, so that
// a long recording need not be opened with all of them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qom/qom.h"

namespace qom {

// Number of records; 0 also when the index could not be read.
size_t reader_count(QomReader *reader);

// The entry of a record below reader_count(). False with the reason when it could not be read.
bool reader_entry(QomReader *reader, size_t index, QomIndexEntry *entry);

// Number of records whose time is at or before `time`, microseconds.
size_t reader_count_until(QomReader *reader, uint64_t time);

// Number of the first image record, that of all records when there is none; 0 also when the index
// could not be read.
size_t reader_first_image(QomReader *reader);

// Tells that the records [first, end) will be read next, in this order: their bytes are fetched
// with few reads. Failures show when the records are read.
void reader_expect(QomReader *reader, size_t first, size_t end);

// Counts up when a part of the index turned out not to be what the overview tells, so that the
// number of records, their entries and the checkpoints may no longer be those that were answered
// before. Every call that asks for one of them can find that out.
uint64_t reader_generation(const QomReader *reader);

}  // namespace qom
