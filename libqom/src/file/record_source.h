// Reading single records: one positioned read straight into the record's own memory, all
// checks, then the decoding.
#pragma once

#include "file/file.h"
#include "file/payload.h"
#include "qom/qom.h"

namespace qom {

class RecordSource {
 public:
  // `file` and `window` live longer than this.
  RecordSource(const File *file, Window *window) : file_(file), window_(window) {}

  void set_format(uint32_t salt, const ImageFormat &format) {
    salt_ = salt;
    format_ = format;
  }

  // The record whose frame the entry describes; the caller owns it. Null with the reason when
  // the frame is not the one of the entry, its bytes are not what was written, or they break a
  // rule of the format.
  QomRecord *read(const QomIndexEntry &entry);

 private:
  bool read_parts(uint64_t position, struct iovec *parts, int count, size_t length);

  const File *file_;
  Window *window_;
  uint32_t salt_ = 0;
  ImageFormat format_ = {};
  uint64_t next_position_ = 0;  // behind the record that was read last
};

}  // namespace qom
