// Opening recordings, and complaints about them on standard error.
#pragma once

#include <string>

#include "qom/qom.h"
#include "records.h"

namespace qomtool {

// Writes "qom: FILE: what" to standard error: the file by its quoted name, and nothing that could
// steer a terminal.
void complain(const std::string &file, const std::string &what);

// The same for what is not a file: "qom: what".
void complain(const std::string &what);

// An open recording with its index.
struct Recording {
  ReaderPtr reader;  // null when it could not be opened
  const QomHeader *header = nullptr;
  QomReaderInfo info{};
  const QomIndexEntry *index = nullptr;  // `length` entries, null when there are none
  size_t length = 0;

  explicit operator bool() const { return reader != nullptr; }
};

// The recording of a reader, with its index; a null reader, with the reason in qom_reader_error()
// and errno, when that cannot be read.
Recording recording_of(ReaderPtr reader);

// Opens the recording and builds its index; complains when that fails.
Recording open_recording(const std::string &path);

// The picture from which the viewer counts times; a recording that it cannot show may have plain
// images. Null when there is none.
const QomIndexEntry *first_picture(const Recording &recording);

// Why a record's pixels cannot be decoded; empty when they can, or when the record has none.
std::string fault_of(const QomRecord *record, const QomHeader *header);

}  // namespace qomtool
