// Reading single records: one positioned read straight into the record's own memory, all
// checks, then the decoding.
#pragma once

#include "file/payload.h"
#include "file/source.h"
#include "qom/qom.h"

namespace qom {

class RecordSource {
 public:
  // `file` and `window` live longer than this.
  RecordSource(const Source *source, Window *window)
      : source_(source), window_(window), expected_(source, expected_bytes) {}

  void set_format(uint32_t salt, const ImageFormat &format) {
    salt_ = salt;
    format_ = format;
  }

  // The record whose frame the entry describes; the caller owns it. Null with the reason when
  // the frame is not the one of the entry, its bytes are not what was written, or they break a
  // rule of the format.
  QomRecord *read(const QomIndexEntry &entry);

  // Tells that the records in the bytes [from, to) will be read one after the other.
  void expect(uint64_t from, uint64_t to);

 private:
  // Bytes of expected records that are read at once.
  static constexpr size_t expected_bytes = 4u << 20;

  const uint8_t *find(uint64_t position, size_t length, bool *failed);
  bool read_parts(uint64_t position, struct iovec *parts, int count, size_t length);

  const Source *source_;
  Window *window_;
  uint32_t salt_ = 0;
  ImageFormat format_ = {};
  uint64_t next_position_ = 0;  // behind the record that was read last
  Window expected_;             // holds bytes of
  uint64_t expected_from_ = 0;  // what is expected
  uint64_t expected_to_ = 0;
};

}  // namespace qom
